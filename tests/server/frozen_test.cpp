// Processes of the server that stop working without closing anything: the connection stays up and
// nothing answers. No call may take longer than the bound of its session.
#include <signal.h>

#include <functional>
#include <numeric>

#include "client.h"

namespace kelptest {

namespace {

constexpr int kBound = 1;
constexpr double kLongest = kBound + 0.5;

}  // namespace

class Frozen : public ServerTest {};

TEST_F(Frozen, ACallFailsWithinTheBoundAndLeavesNothing) {
  const Ids ids = make_points(connect(login_), 3);
  constexpr int32_t frozen_time = 1000, other_time = 2000;
  constexpr int32_t many = 300'000;  // rows, more than the sockets between the two hold
  std::vector<int32_t> times(many);
  std::iota(times.begin(), times.end(), frozen_time);
  const std::vector<int16_t> statuses(many);
  const std::vector<double> values(many);
  int32_t out = 0;
  Connection frozen;
  const std::pair<const char *, std::function<int32_t()>> calls[] = {
      {"write_value", [&] { return write(frozen, ids, frozen_time); }},
      {"write_histroy",
       [&] {
         return kelp2_write_histroy_byid(frozen.get(), 0, ids[0], many, times.data(),
                                         statuses.data(), values.data(), &out);
       }},
      {"modify_object", [&] { return insert(frozen.get(), "W3.N", "LATE", R8); }},
      {"get_system_time", [&] { return kelp2_get_system_time(frozen.get(), &out); }},
      {"status", [&] { return kelp2_status(frozen.get()); }},
  };
  for (const auto &[name, call] : calls) {
    SCOPED_TRACE(name);
    frozen = connect(login_, kBound);
    const pid_t backend = server().backends(login_.name).at(0);
    kill(backend, SIGSTOP);
    EXPECT_LT(seconds([&] { EXPECT_NE(call(), 0); }), kLongest);
    EXPECT_LT(seconds([&] { EXPECT_NE(kelp2_status(frozen.get()), 0); }), kLongest);
    EXPECT_LT(seconds([&] { frozen.reset(); }), kLongest);
    EXPECT_EQ(write(connect(login_, kBound), ids, other_time), 0);
    kill(backend, SIGCONT);
    EXPECT_TRUE(wait_for(5s, [&] { return kill(backend, 0) != 0; }));
  }
  EXPECT_EQ(sql("SELECT count(*), min(time) FROM kelp.sample"), "3|2000");
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.object WHERE name = 'LATE'"), "0");
}

TEST_F(Frozen, AServerThatDoesNotAnswerIsGivenUp) {
  Connection open = connect(login_, kBound);
  const Ids ids = make_points(open, 3);
  server().freeze();
  EXPECT_LT(seconds([&] { EXPECT_EQ(connect(login_, kBound), nullptr); }), kLongest);
  EXPECT_LT(seconds([&] { EXPECT_NE(write(open, ids, 1), 0); }), kLongest);
  server().thaw();
  EXPECT_EQ(write(connect(login_, kBound), ids, 1), 0);
}

}  // namespace kelptest
