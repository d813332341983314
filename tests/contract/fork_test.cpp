// Processes that are forked while a session is open: they cannot use it, and do it no harm.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "contract.h"

namespace kelptest {

namespace {

// The first check that does not hold in a forked process; nothing if all do.
using Checks = std::vector<std::pair<std::string, std::function<bool()>>>;
std::string failing_in_child(const Checks &checks) {
  const pid_t child = fork();
  if (child == 0) {
    size_t number = 0;
    while (number < checks.size() && checks[number].second()) ++number;
    _exit(static_cast<int>(number));
  }
  int status = -1;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status)) return "it was ended by a signal";
  const auto number = static_cast<size_t>(WEXITSTATUS(status));
  return number == checks.size() ? "" : checks.at(number).first;
}

}  // namespace

TEST_P(Contract, AConnectionBelongsToTheProcessThatMadeIt) {
  const Ids ids = connection_.make_points(2);
  ASSERT_EQ(connection_.write_history(ids[0], {{1}, {2}, {3}}), 0);
  const Object object = connection_.object("W3.N.P0");
  const Group group = group_of({"W3.N.P0"});
  std::vector<Result> results = connection_.query({ids[0], ids[0]}, HistoryTimed);
  ASSERT_EQ(fetch(results[0]), Row{1});
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
  const Checks checks{
      {"status",
       [&] {
         testing::internal::CaptureStderr();
         const bool lost = connection_.status() == kLost && connection_.status() == kLost;
         const std::string lines = testing::internal::GetCapturedStderr();
         return lost && std::count(lines.begin(), lines.end(), '\n') == 1;
       }},
      {"write",
       [&] {
         return connection_.write_value(ids, {{4}, {4}}) == Codes{kLost, kLost};
       }},
      {"read", [&] { return connection_.current(ids) == Readings(2); }},
      {"clock", [&] { return kelp2_get_system_time(connection_.handle(), &time) == kLost; }},
      {"tree", [&] { return connection_.erase("W3.N", "P1") != 0; }},
      {"new object", [&] { return connection_.new_object("P", R8) == nullptr; }},
      {"query", [&] { return connection_.query({ids[0]}, HistoryTimed)[0] == nullptr; }},
      {"rows", [&] { return kelp2_num_rows(results[0].get()) == 0; }},
      {"fetch",
       [&] { return kelp2_fetch_timed_value(results[0].get(), &time, &status, &value) == kLost; }},
      {"release", [&] { return kelp2_free_result(results[1].release()) == 0; }},
      {"close",
       [&] {
         connection_.close();
         return true;
       }},
      {"object", [&] { return text(object, KELP2_FIELD_NAME) == "P0"; }},
      {"group", [&] { return kelp2_add_group_point(group.get(), "W3.N.P1") == 0; }},
      {"calendar", [&] { return kelp2_encode_time(1970, 1, 1, 0, 0, 7) == 7; }},
      // Only a file cannot be opened twice.
      {"own session", [&] { return Connection(login_).open() == (GetParam() != "sqlite"); }},
  };
  EXPECT_EQ(failing_in_child(checks), "");
  EXPECT_EQ(fetch(results[0]), Row{2});
  EXPECT_EQ(fetch(results[1]), Row{1});
  EXPECT_EQ(connection_.write_value(ids, {{5}, {5}}), (Codes{0, 0}));
  EXPECT_EQ(connection_.status(), 0);
  EXPECT_EQ(Connection(login_).history(ids[0]), (Rows{{1}, {2}, {3}, {5}}));
}

TEST_P(Contract, ForksInTheMiddleOfCallsDoThemNoHarm) {
  const Ids ids = connection_.make_points(50);
  std::atomic<bool> ends = false;
  std::atomic<int32_t> written = 0, failed = 0;
  std::thread writer([&] {
    while (!ends) {
      const Rows rows(ids.size(), {written});
      ++(first_failure(connection_.write_value(ids, rows)) == 0 ? written : failed);
    }
  });
  for (int i = 0; i < 30; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      close(STDERR_FILENO);
      _exit(connection_.status() == kLost && kelp2_close(connection_.handle()) == 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
  }
  ends = true;
  writer.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(Connection(login_).history(ids[49]).size(), written);
}

}  // namespace kelptest
