// What whole runs print and leave behind.
#include "fixture.h"
#include "support/required.h"

namespace kelptest {

class WholeRun : public FileTest {
 protected:
  void expect_tree_and_values() const {
    EXPECT_EQ(sql(store_,
                  "SELECT full_name, kind, ed, fq, ar, iv, hw FROM object WHERE id > 1"
                  " ORDER BY full_name"),
              (Lines{"W3.TESTNODE01|16|modify:test new node static info 00001|1|1|1.0|0",
                     "W3.TESTNODE01.POINT00001|36|test static info 00001|0|0|1.0|1",
                     "W3.TESTNODE01.POINT00002|36|test static info 00002|0|0|2.0|2",
                     "W3.TESTNODE02|16|modify:test new node static info 00002|2|2|2.0|0",
                     "W3.TESTNODE02.POINT00003|36|test static info 00003|0|0|3.0|3"}));
    // Five blocks of an hour, in steps of 10 seconds, for each of three points.
    EXPECT_EQ(sql(store_,
                  "SELECT count(*), min(time), max(time), sum(status = 0),"
                  " sum(value = (time - 1346432400) / 10 % 360 + 0.123)"
                  " FROM sample WHERE time < 1346432400 + 18000"),
              Lines{"5400|1346432400|1346450390|5400|5400"});
    EXPECT_EQ(sql(store_,
                  "SELECT count(*), min(abs(value)) <= 101 FROM current_value"
                  " JOIN object ON id = point_id WHERE kind = 36"),
              Lines{"3|1"});
  }
};

TEST_F(WholeRun, ASecondRunReplacesTheTreeAndValuesOfTheFirst) {
  for (const char *replaced : {"", "insert node error!\ndelete_point_node_demo success!\n"}) {
    Program program(login_, {"-N2", "-X3", "-T36"});
    ASSERT_TRUE(program.wait_for_output(kWriting, 20s)) << program.output() << program.errors();
    const std::string output = program.output();
    const size_t at = output.find('\n', output.find("2. get_system_time_demo")) + 1;
    const std::string clock = output.substr(at, output.find('\n', at) - at);
    EXPECT_EQ(output, expected_run(27, clock, replaced));
    tm utc{};
    ASSERT_NE(strptime(clock.c_str(), "%Y-%m-%d %H:%M:%S", &utc), nullptr) << clock;
    EXPECT_NEAR(double(timegm(&utc)), double(std::time(nullptr)), 30);
    EXPECT_EQ(program.errors(), "");
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(5s), -SIGTERM);
    expect_tree_and_values();
    expect_intact();
  }
  EXPECT_EQ(fs::status(store_).permissions(), fs::perms(0600));
}

TEST_F(WholeRun, LeaksNothingAndReadsNothingUnset) {
  const bool can_run = fs::exists(PLAIN_PROGRAM) && std::system("valgrind --version") == 0;
  REQUIRE_OR_SKIP(can_run, "no valgrind, or no " PLAIN_PROGRAM);
  Process run({"valgrind", "--leak-check=full", "--errors-for-leak-kinds=definite", PLAIN_PROGRAM,
               "-Hfile:" + store_, "-X3"});
  EXPECT_TRUE(run.wait_for_output(kWriting, 50s)) << run.errors();
  run.signal(SIGTERM);
  EXPECT_EQ(run.wait(20s), -SIGTERM);
  EXPECT_NE(run.errors().find("ERROR SUMMARY: 0 errors"), std::string::npos) << run.errors();
}

}  // namespace kelptest
