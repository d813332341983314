// The calendar itself is the standard library's; here is only what lies outside of it.
#include "store/calendar.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace kelp {

namespace {

constexpr int64_t kDaySeconds = 86400;
// The calendar repeats itself; the years of the library reach only from -32767 to 32767.
constexpr int64_t kEraMonths = 400 * 12;
constexpr int64_t kEraDays = 146097;

// Days from the epoch to the first day of a month, which counts from January of year 0.
int64_t days_to_month(int64_t month) {
  using namespace std::chrono;
  const int64_t era = (month >= 0 ? month : month - (kEraMonths - 1)) / kEraMonths;
  const auto of_era = static_cast<unsigned>(month - era * kEraMonths);
  const sys_days first = year(static_cast<int>(of_era / 12)) / (of_era % 12 + 1) / 1;
  return first.time_since_epoch().count() + era * kEraDays;
}

}  // namespace

int32_t encode_time(const CalendarTime &fields) {
  using Limits = std::numeric_limits<int32_t>;
  const int64_t month = int64_t{fields.year} * 12 + fields.month - 1;
  const int64_t days = days_to_month(month) + fields.day - 1;
  const int64_t seconds = days * kDaySeconds + int64_t{fields.hour} * 3600 +
                          int64_t{fields.minute} * 60 + fields.second;
  return static_cast<int32_t>(std::clamp<int64_t>(seconds, Limits::min(), Limits::max()));
}

CalendarTime decode_time(int32_t time) {
  using namespace std::chrono;
  const sys_seconds moment{seconds(time)};
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss clock(moment - day);
  return {int(date.year()),
          static_cast<int32_t>(unsigned(date.month())),
          static_cast<int32_t>(unsigned(date.day())),
          static_cast<int32_t>(clock.hours().count()),
          static_cast<int32_t>(clock.minutes().count()),
          static_cast<int32_t>(clock.seconds().count())};
}

}  // namespace kelp
