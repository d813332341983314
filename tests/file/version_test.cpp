// Stores that an older version has made.
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>

#include "fixture.h"
#include "support/random.h"

namespace kelptest {

class Version : public FileTest {
 protected:
  void SetUp() override { load(VERSION_1, store_); }
  static void load(const char *file, const std::string &store) {
    std::ostringstream script;
    script << std::ifstream(file).rdbuf();
    sql(store, script.str());
  }
};

TEST_F(Version, AStoreOfVersion1KeepsAllAndTheLaterSampleWins) {
  const Connection connection(login_);
  ASSERT_TRUE(connection.open());
  EXPECT_EQ(connection.history(3), (Rows{{10, 1, 0.5}, {30, 2, 8.5}}));
  EXPECT_EQ(connection.history(4), (Rows{{20, -2, NAN}, {30, 0, HUGE_VAL}}));
  EXPECT_EQ(connection.history(5), (Rows{{30, 0, -HUGE_VAL}}));
  EXPECT_EQ(connection.current({3, 4, 9}), (Readings{{}, Row{20, -2, NAN}, {}}));
  EXPECT_EQ(first_failure(connection.write_value({3}, {{30, 0, 9.5}})), 0);
  EXPECT_EQ(connection.snapshot({3}, 30), (Readings{Row{30, 0, 9.5}}));
  EXPECT_EQ(sql(store_, "SELECT count(*), sum(time = 30) FROM sample WHERE point_id < 6"),
            Lines{"5|3"});
  expect_intact();
}

// Tables change and no sample is touched: the store keeps all, and what a program of version 1.1
// asks for first, with every call on values and every deletion, is not there any more.
TEST_F(Version, AStoreOfVersion2KeepsAllAndItsProgramsFailWithoutHarm) {
  const std::string store = folder_.path("version 2");
  load(VERSION_2, store);
  const Connection connection({"file:" + store});
  ASSERT_TRUE(connection.open());
  EXPECT_EQ(connection.history(3),
            (Rows{{40, 0, 4.5}, {50, 0, 7.5}, {60, 0, 6.5}, {200, 0, -0.0}}));
  EXPECT_EQ(connection.history(4), (Rows{{50, 0, -0.0}, {200, 1, NAN}}));
  EXPECT_EQ(connection.history(5), (Rows{{50, 0, 0.0}, {200, -2, HUGE_VAL}}));
  EXPECT_EQ(connection.current({3, 4, 5, 6}),
            (Readings{Row{200, 0, -0.0}, Row{200, 1, NAN}, Row{200, -2, HUGE_VAL}, {}}));
  EXPECT_EQ(connection.snapshot({4, 5}, 199), (Readings{Row{199, 0, -0.0}, Row{199, 0, 0.0}}));
  EXPECT_EQ(sql(store, "SELECT point_id, count(*) FROM sample GROUP BY point_id"),
            (Lines{"3|4", "4|2", "5|2"}));
  EXPECT_EQ(sql(store, "SELECT count(*) FROM current_value"), Lines{"3"});
  EXPECT_EQ(first_failure(connection.write_value({3}, {{1, 0, 1.5}})), 0);
  EXPECT_EQ(sql(store, "SELECT count(*) FROM merged_sample WHERE point_id = 6"), Lines{"0"});
  for (const char *statement : {"SELECT blocks FROM bucket WHERE id = 0",
                                "INSERT INTO erased_point (point_id) VALUES (3)"}) {
    EXPECT_TRUE(sql(store, statement)[0].starts_with("no such table")) << statement;
  }
  EXPECT_EQ(sql(store, "PRAGMA integrity_check"), Lines{"ok"});
}

// Whoever comes next goes on where a program was killed that brought the store up to date.
TEST_F(Version, BringingAStoreUpToDateMayBeCutShort) {
  sql(store_,
      "WITH RECURSIVE n (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 399999)"
      " INSERT INTO staged_sample (point_id, time, status, value)"
      " SELECT 3 + i % 3, 1000 + i / 3 % 50000, 0, i + 0.5 FROM n");
  Random random;
  for (int run = 0; run < 5; ++run) {
    const pid_t child = fork();
    if (child == 0) _exit(Connection(login_).open());
    usleep(random() % 200'000);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  const Connection connection(login_);
  Rows expected;
  for (int32_t i = 0; i < 50'000; ++i) {
    const int32_t last = i <= 33'333 ? i + 100'000 : i + 50'000;  // that was written at this time
    expected.push_back({1000 + i, 0, last * 3 + 0.5});
  }
  EXPECT_EQ(connection.history(3, {1000, INT32_MAX}), expected);
  EXPECT_EQ(sql(store_, "SELECT name FROM sqlite_master WHERE name LIKE 'version%'"), Lines());
  expect_intact();
}

}  // namespace kelptest
