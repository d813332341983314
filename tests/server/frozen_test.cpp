// Processes of the server that stop working without closing anything: the connection stays up and
// nothing answers. No call may take longer than the bound of its session.
#include <signal.h>

#include <functional>

#include "fixture.h"

namespace kelptest {

namespace {

constexpr int kBound = 1;
constexpr double kLongest = kBound + 0.5;

}  // namespace

class Frozen : public ServerTest {
 protected:
  void SetUp() override {
    ServerTest::SetUp();
    login_.bound = kBound;
  }
};

TEST_F(Frozen, ACallFailsWithinTheBoundAndLeavesNothing) {
  const Ids ids = Connection(login_).make_points(3);
  constexpr int32_t frozen_time = 1000, other_time = 2000;
  Rows many(300'000);  // more than the sockets between the two hold
  for (size_t i = 0; i < many.size(); ++i) many[i].time = frozen_time + int32_t(i);
  Connection frozen;
  const std::pair<const char *, std::function<int32_t()>> calls[] = {
      {"write_value", [&] { return write(frozen, ids, frozen_time); }},
      {"write_histroy", [&] { return frozen.write_history(ids[0], many); }},
      {"modify_object", [&] { return frozen.insert("W3.N", "LATE", R8); }},
      {"get_system_time",
       [&] {
         int32_t time = 0;
         return kelp2_get_system_time(frozen.handle(), &time);
       }},
      {"status", [&] { return frozen.status(); }},
  };
  for (const auto &[name, call] : calls) {
    SCOPED_TRACE(name);
    frozen = Connection(login_);
    const pid_t backend = server().backends(login_.name).at(0);
    kill(backend, SIGSTOP);
    EXPECT_LT(seconds([&] { EXPECT_NE(call(), 0); }), kLongest);
    EXPECT_LT(seconds([&] { EXPECT_NE(frozen.status(), 0); }), kLongest);
    EXPECT_LT(seconds([&] { frozen.close(); }), kLongest);
    EXPECT_EQ(write(Connection(login_), ids, other_time), 0);
    kill(backend, SIGCONT);
    EXPECT_TRUE(wait_for(5s, [&] { return kill(backend, 0) != 0; }));
  }
  EXPECT_EQ(sql("SELECT count(*), min(time) FROM kelp.sample"), "3|2000");
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.object WHERE name = 'LATE'"), "0");
}

TEST_F(Frozen, AServerThatDoesNotAnswerIsGivenUp) {
  Connection open(login_);
  const Ids ids = open.make_points(3);
  server().freeze();
  EXPECT_LT(seconds([&] { EXPECT_FALSE(Connection(login_).open()); }), kLongest);
  EXPECT_LT(seconds([&] { EXPECT_NE(write(open, ids, 1), 0); }), kLongest);
  server().thaw();
  EXPECT_EQ(write(Connection(login_), ids, 1), 0);
}

}  // namespace kelptest
