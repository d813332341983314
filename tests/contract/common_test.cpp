// What needs no engine: the header and the exports, the calendar, and the meaning of a server's
// error codes.
#include <gtest/gtest.h>
#include <kelpapi2.h>

#include <algorithm>
#include <ctime>
#include <sstream>

#include "postgres/sqlstate.h"
#include "support/process.h"

namespace {

std::string shell(const std::string &command) { return kelptest::run({"sh", "-c", command}); }

extern "C" int calls_library_from_c(void);

TEST(Library, IsCalledFromC) { EXPECT_EQ(calls_library_from_c(), 1); }

TEST(Library, ExportsExactlyWhatItsHeaderDeclares) {
  const std::string declared = shell("grep -o 'kelp2_[a-z_]*(' " HEADER " | tr -d '(' | sort -u");
  EXPECT_EQ(std::count(declared.begin(), declared.end(), '\n'), 40);
  EXPECT_EQ(shell("nm -D --defined-only " LIBRARY " | sed 's/.* //' | sort"), declared);
}

// The codes stand in three places, each for other readers.
TEST(Library, TellsTheSameCodesToCallersAndInItsManual) {
  const std::string codes = shell("grep -o '= -[0-9]*' " RESULT_CODES " | tr -d '= '");
  EXPECT_EQ(shell("grep -o '^ [*]  *-[0-9]* ' " HEADER " | tr -d '* '"), codes);
  EXPECT_EQ(shell(R"(grep -o '^\\-[0-9]*$' )" MANUAL R"( | tr -d '\\')"), codes);
}

TEST(Calendar, InvertsItselfInUtcFromEndToEndOfTheScale) {
  constexpr int64_t step = 65'535;  // less than a day, and ends at the last time
  for (int64_t time = INT32_MIN; time <= INT32_MAX; time += step) {
    tm utc{};
    gmtime_r(&time, &utc);
    int32_t f[6];
    ASSERT_EQ(kelp2_decode_time(int32_t(time), f, f + 1, f + 2, f + 3, f + 4, f + 5), 0);
    ASSERT_TRUE(f[0] == utc.tm_year + 1900 && f[1] == utc.tm_mon + 1 && f[2] == utc.tm_mday &&
                f[3] == utc.tm_hour && f[4] == utc.tm_min && f[5] == utc.tm_sec);
    ASSERT_EQ(kelp2_encode_time(f[0], f[1], f[2], f[3], f[4], f[5]), time);
  }
}

TEST(Calendar, CarriesFieldsOverFromAnyDistance) {
  EXPECT_EQ(kelp2_encode_time(40000, 1, 1 - 13'890'172, 0, 0, 0), 0);
  EXPECT_EQ(kelp2_encode_time(-40000, 1, 1 + 15'329'228, 0, 0, 0), 0);
  EXPECT_EQ(kelp2_encode_time(1970, 1 - 12 * 70'000, 1 + 25'566'975, 0, 0, 7), 7);
  EXPECT_EQ(kelp2_encode_time(INT32_MAX, INT32_MAX, INT32_MAX, 0, 0, 0), INT32_MAX);
  EXPECT_EQ(kelp2_encode_time(INT32_MIN, INT32_MIN, INT32_MIN, 0, 0, 0), INT32_MIN);
}

TEST(Sqlstate, ExactStatesComeBeforeTheirClasses) {
  using namespace kelp;
  const std::pair<ResultCode, const char *> cases[] = {
      {kLost, "08006 25P03 57P01"},
      {kNoConnection, "3D000 53300 57P03"},
      {kStorageFull, "53100 53400"},
      {kDenied, "28P01 28000 42501"},
      {kConflict, "40001 40002 40P01"},
      {kInternal, "23502 23503 23505 25001 42601 42P06 42P07 42710 57000 58030 XX000 ?"}};
  std::string retryable, races;
  for (const auto &[code, states] : cases) {
    std::istringstream words(states);
    for (std::string state; words >> state;) {
      EXPECT_EQ(postgres::code_of_sqlstate(state), code) << state;
      if (postgres::is_retryable(state)) retryable += state + " ";
      if (postgres::is_creation_race(state)) races += state + " ";
    }
  }
  EXPECT_EQ(postgres::code_of_sqlstate(""), kLost);
  EXPECT_EQ(retryable, "40001 40P01 23503 ");
  EXPECT_EQ(races, "40001 40P01 23505 42P06 42P07 42710 XX000 ");
}

}  // namespace
