// Many programs on one database at once.
#include <future>
#include <mutex>

#include "fixture.h"

namespace kelptest {

class Crowd : public ServerTest {};

// A transaction holds all of them back until the last one is there, and then leaves nothing behind.
// Without nodes and points the programs have nothing to quarrel about but the tables.
TEST_F(Crowd, AllCreateTheTablesAtOnce) {
  auto holder = std::async(std::launch::async, [&] {
    sql("SET statement_timeout TO '30s'; BEGIN; CREATE SCHEMA kelp; DO $$ BEGIN"
        " WHILE (SELECT count(*) FROM pg_locks WHERE NOT granted) < 16 LOOP"
        " PERFORM pg_sleep(0.01); END LOOP; END $$; ROLLBACK");
  });
  const char *holding = "SELECT count(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'";
  ASSERT_TRUE(wait_for(10s, [&] { return sql(holding) == "1"; }));
  std::vector<std::unique_ptr<Program>> programs(16);
  for (auto &program : programs) {
    program = std::make_unique<Program>(login_, std::vector<std::string>{"-N0", "-X0"});
  }
  holder.get();
  for (const auto &program : programs) {
    EXPECT_TRUE(program->wait_for_output("I'm writing realvalue", 30s)) << program->output();
    EXPECT_EQ(program->errors(), "");
  }
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.object"), "1");
}

// Rows locked in opposite orders would be a deadlock.
TEST_F(Crowd, WritersOfTheSamePointsDoNotDisturbEachOther) {
  const Ids ids = Connection(login_).make_points(100);
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (const Ids &order : {ids, Ids(ids.rbegin(), ids.rend()), ids}) {
    threads.emplace_back([&, order] {
      const Connection connection(login_);
      for (int32_t time = 0; time < 200; ++time) {
        if (write(connection, order, time / 20) != 0) ++failures;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.sample"), "1000");
}

// Each of these calls takes several statements. They take turns: nobody starves and nothing is done
// in vain, and a small call waits for one of them at most.
TEST_F(Crowd, LargeWritesOfTheSamePointsTakeTurns) {
  constexpr int points = 1000;
  login_.bound = 30;
  const Ids some = Connection(login_).make_points(points);
  Ids ids;
  Rows rows;
  for (int row = 0; row < 17'000; ++row) {
    ids.push_back(some[row % points]);
    rows.push_back({row / points});
  }
  std::mutex mutex;
  std::vector<double> taken;
  std::atomic<int> left = 6;
  std::vector<std::thread> threads;
  for (int i = left; i > 0; --i) {
    threads.emplace_back([&] {
      const Connection connection(login_);
      for (int round = 0; round < 2; ++round) {
        const double time =
            seconds([&] { EXPECT_EQ(first_failure(connection.write_cache(ids, rows)), 0); });
        const std::lock_guard lock(mutex);
        taken.push_back(time);
      }
      --left;
    });
  }
  const Connection small(login_);
  double longest_small = 0;
  while (left > 0) {
    longest_small = std::max(longest_small, seconds([&] { write(small, some, 7); }));
  }
  for (std::thread &thread : threads) thread.join();
  std::sort(taken.begin(), taken.end());
  const double middle = taken[taken.size() / 2];
  EXPECT_LT(taken.back(), 2 * middle);
  EXPECT_LT(longest_small, middle / 2);
}

}  // namespace kelptest
