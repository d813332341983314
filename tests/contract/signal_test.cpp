// Signals that arrive all the time, in a program whose handlers do not ask for calls to be
// restarted.
#include <sys/time.h>

#include <atomic>
#include <csignal>

#include "contract.h"

namespace kelptest {

namespace {

std::atomic<int> arrived = 0;

// A signal every half millisecond as long as it exists.
class Signals {
 public:
  Signals() {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++arrived; };
    sigaction(SIGALRM, &action, &before_);
    repeat(500);
  }
  ~Signals() {
    repeat(0);
    sigaction(SIGALRM, &before_, nullptr);
  }

 private:
  static void repeat(int microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
  struct sigaction before_ = {};
};

}  // namespace

TEST_P(Contract, CallsGoOnAcrossSignals) {
  const Signals signals;
  Rows rows;
  for (int32_t time = 0; time < 20'000; ++time) rows.push_back({time});
  for (int round = 0; round < 3; ++round) {
    const Connection connection(login_);
    ASSERT_TRUE(connection.open());
    const std::string node = "N" + std::to_string(round);
    EXPECT_EQ(connection.insert("W3", node, KindNode), 0);
    EXPECT_EQ(connection.insert("W3." + node, "P", R8), 0);
    const int32_t id = connection.ids_of({"W3." + node + ".P"})[0];
    EXPECT_EQ(connection.write_history(id, rows), 0);
    EXPECT_EQ(first_failure(connection.write_value({id}, {{7}})), 0);
    EXPECT_EQ(connection.history(id).size(), rows.size());
    EXPECT_EQ(connection.erase("W3." + node, "P"), 0);
  }
  EXPECT_GT(arrived, 20);
}

}  // namespace kelptest
