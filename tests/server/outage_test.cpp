// The server is stopped while the program runs, and comes back.
#include <signal.h>

#include <functional>

#include "fixture.h"

namespace kelptest {

namespace {

constexpr const char *kAgain = "connect error!\nAfter 5 seconds, I will try connect again!\n";

// What the continuous writer shows of an outage in which connecting fails that many times.
std::string recovery(size_t retries) {
  std::string text = "kelp2_write_value error!\n";
  while (retries-- > 0) text += kAgain;
  return text + "connect success!\nconnect success, I will to write realvalue go on!\n......\n";
}

}  // namespace

class Outage : public ServerTest {};

// The program is held while the server stops, so that the stop falls into the demonstration. One
// that shows nothing says nothing of its failure either.
TEST_F(Outage, InTheMiddleOfTheSequenceTheProgramEnds) {
  const struct {
    std::string demonstration;
    std::string last;  // the beginning of the last line
  } cases[] = {
      {"10. write_hisvalue_byid_demo", "kelp2_write_histroy_byid  error! ret= -"},
      {"25. get_snap_byid_demo", "-----------------------------25. get_snap_byid_demo"},
  };
  for (const auto &[demonstration, last] : cases) {
    SCOPED_TRACE(demonstration);
    Program program(login_, {"-X100"});
    ASSERT_TRUE(program.wait_for_output(demonstration, 60s)) << last_line(program.output());
    program.signal(SIGSTOP);
    server().stop();
    program.signal(SIGCONT);
    EXPECT_EQ(program.wait(10s), 0);
    EXPECT_TRUE(last_line(program.output()).starts_with(last)) << last_line(program.output());
    EXPECT_EQ(count_of("\n", program.errors()), 1u) << program.errors();
    server().start();
  }
}

// Not every caller looks at the result of a call: a long series of them on a lost connection must
// not write a line each. A result is not lost with it.
TEST_F(Outage, TheLossIsReportedOnce) {
  const Connection connection(login_);
  const int32_t id = connection.make_points(1)[0];
  sql("INSERT INTO kelp.sample SELECT " + std::to_string(id) +
      ", time, 0, 0 FROM generate_series(1, 20000) AS t (time)");
  const Result rows = std::move(connection.query({id}, HistoryTimed)[0]);
  server().stop();
  testing::internal::CaptureStderr();
  for (int i = 0; i < 1000; ++i) EXPECT_FALSE(connection.current({id})[0]);
  EXPECT_EQ(count_of("\n", testing::internal::GetCapturedStderr()), 1u);
  int fetched = 0;
  while (fetch(rows)) ++fetched;
  EXPECT_EQ(fetched, 20'000);
  server().start();
}

// Whatever the server said last, the operator reads it, and once.
TEST_F(Outage, TheServersLastWordsAreShown) {
  const struct {
    const char *words;
    std::function<void()> strike;
  } faults[] = {
      {"idle-session timeout", [] { std::this_thread::sleep_for(500ms); }},
      {"administrator command",
       [&] {
         sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE usename = '" +
             login_.name + "'");
       }},
      {"administrator command",
       [] {
         server().stop();
         server().start();
       }},
  };
  Ids ids = Connection(login_).make_points(1);
  for (const auto &[words, strike] : faults) {
    SCOPED_TRACE(words);
    const bool idle = std::string_view(words).starts_with("idle");
    server().sql("ALTER ROLE " + login_.name + " SET idle_session_timeout TO " +
                 (idle ? "300" : "0"));
    const Connection connection(login_);
    strike();
    std::this_thread::sleep_for(200ms);
    testing::internal::CaptureStderr();
    EXPECT_EQ(write(connection, ids, 1), -2);
    EXPECT_EQ(write(connection, ids, 1), -2);
    EXPECT_NE(connection.status(), 0);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(count_of("\n", errors), 1u) << errors;
    EXPECT_EQ(count_of(words, errors), 1u) << errors;
  }
}

TEST_F(Outage, TheContinuousWriterGoesOn) {
  const struct {
    const char *name;
    std::function<void()> strike;
    bool needs_start;
  } faults[] = {
      {"server stopped", [] { server().stop(); }, true},
      {"server killed", [] { server().kill_hard(); }, true},
      {"backend killed", [&] { kill(server().backends(login_.name).at(0), SIGKILL); }, false},
  };
  Writer writer(with(server().new_database()));
  Program program(login_, {"-X3"});
  ASSERT_TRUE(program.wait_for_output("I'm writing realvalue", 20s)) << program.output();
  const std::string begin = sql("SELECT extract(epoch FROM now())::int - 1");
  for (const auto &fault : faults) {
    SCOPED_TRACE(fault.name);
    std::this_thread::sleep_for(1500ms);  // some seconds to lose
    ASSERT_TRUE(writer.writes_again());
    const size_t before = program.output().size();
    const auto shown = [&] { return program.output().substr(before); };
    fault.strike();
    if (fault.needs_start) {
      ASSERT_TRUE(wait_for(10s, [&] { return count_of(kAgain, shown()) == 1; })) << shown();
      server().start();
    }
    ASSERT_TRUE(wait_for(12s, [&] { return shown().ends_with("......\n"); })) << shown();
    EXPECT_EQ(shown(), recovery(count_of(kAgain, shown())));
    EXPECT_TRUE(writer.writes_again());
  }
  std::this_thread::sleep_for(1500ms);
  program.signal(SIGKILL);
  program.wait(5s);

  // The program's seconds follow each other but for one gap per outage, the same for all points.
  EXPECT_EQ(sql("SELECT count(*) FROM (SELECT time - lag(time) OVER (PARTITION BY point_id"
                " ORDER BY time) AS step FROM kelp.sample WHERE time >= " +
                begin + ") AS steps WHERE step > 1"),
            "9");
  EXPECT_EQ(writer.lost(server()), Ids());
}

}  // namespace kelptest
