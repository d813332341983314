// The store as SQL shows it: the views alone, in step with a writer, and what is asked in
// README.md.
#include <cmath>

#include "fixture.h"

namespace kelptest {

// What stands behind the prompts of the SQLite shell.
Lines queries_of_readme() {
  std::ifstream readme(README);
  Lines queries;
  const std::string prompt = "sqlite> ", more = "   ...> ";
  for (std::string line; std::getline(readme, line);) {
    if (line.starts_with(prompt)) queries.push_back(line.substr(prompt.size()));
    if (line.starts_with(more)) queries.back() += " " + line.substr(more.size());
  }
  return queries;
}

class Views : public FileTest {
 protected:
  static constexpr int32_t kPoints = 500;
  static constexpr int32_t kMerged = 200;
  static constexpr int32_t kCalls = 100;
  static constexpr int64_t kSamples = int64_t{kPoints} * (kMerged + kCalls);

  void SetUp() override {
    connection_ = Connection(login_, 8);
    points_ = connection_.make_points(kPoints);
    Rows rows;
    for (int32_t time = 0; time < kMerged; ++time) rows.push_back({time, 0, time + 0.5});
    for (const int32_t point : points_) ASSERT_EQ(connection_.write_history(point, rows), 0);
    for (int32_t call = 0; call < kCalls; ++call) write_all(kMerged + call, call + 0.25);
  }
  // Runs a query to its end: how many instructions SQLite took for it, which unlike a time is the
  // same on every machine; or that it took more than `most` of them.
  int64_t steps_of(const std::string &query, int64_t most) const {
    const auto file = database(store_);
    sqlite3_progress_handler(
        file.get(), static_cast<int>(most), [](void *) { return 1; }, nullptr);
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(file.get(), query.c_str(), -1, &statement, nullptr);
    int result = SQLITE_ROW;
    while (result == SQLITE_ROW) result = sqlite3_step(statement);
    EXPECT_EQ(result, SQLITE_DONE) << query << ": " << sqlite3_errmsg(file.get());
    const int64_t steps = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_VM_STEP, 0);
    sqlite3_finalize(statement);
    return result == SQLITE_DONE ? steps : most;
  }
  void write_all(int32_t time, double value) {
    ASSERT_EQ(first_failure(connection_.write_value(points_, Rows(kPoints, {time, 0, value}))), 0);
  }

  Connection connection_;
  Ids points_;
};

TEST_F(Views, TakeTheTimeOfReadingWhatIsAskedFor) {
  const std::string point = std::to_string(points_[300]);
  const int64_t all = kSamples * 80;
  const struct {
    std::string query;
    int64_t most_steps, most_if_overlapping;
  } cases[] = {
      {"SELECT count(*) FROM sample", all, all},
      {"SELECT * FROM sample ORDER BY point_id, time", all, all},
      {"SELECT * FROM sample WHERE point_id = " + point, 300'000, all},
      {"SELECT * FROM sample WHERE time > 250 AND point_id = " + point, 300'000, 300'000},
      {"SELECT * FROM current_value", all, all},
      {"SELECT * FROM current_value WHERE point_id = " + point, 300'000, 300'000},
  };
  for (const auto &[query, most, unused] : cases) EXPECT_LT(steps_of(query, most), most) << query;
  write_all(kMerged / 2, 7.5);
  for (const auto &[query, unused, most] : cases) EXPECT_LT(steps_of(query, most), most) << query;
}

TEST_F(Views, AnswerWhatIsAskedInTheReadme) {
  write_all(kMerged, 7.5);
  const Lines queries = queries_of_readme();
  EXPECT_GE(queries.size(), 4u);
  for (const std::string &query : queries) {
    EXPECT_LT(steps_of(query, kSamples * 100), kSamples * 100) << query;
  }
}

TEST_F(Views, ShowEachSampleOnceAndAsItWasWrittenLast) {
  write_all(100, 7.5);  // what is merged
  write_all(250, 8.5);  // what is staged
  EXPECT_EQ(sql(store_, "SELECT count(*), count(DISTINCT point_id * 1000 + time) FROM sample"),
            Lines{std::to_string(kSamples) + "|" + std::to_string(kSamples)});
  const std::string point = std::to_string(points_[7]);
  EXPECT_EQ(sql(store_, "SELECT time, value FROM sample WHERE point_id = " + point +
                            " AND time IN (99, 100, 101, 249, 250, 251) ORDER BY time"),
            (Lines{"99|99.5", "100|7.5", "101|101.5", "249|49.25", "250|8.5", "251|51.25"}));
  EXPECT_EQ(sql(store_, "SELECT count(*), min(time), max(value) FROM current_value"),
            Lines{std::to_string(kPoints) + "|250|8.5"});
}

TEST_F(Views, ShowNothingOfPointsThatAreDeleted) {
  const auto count = [&](const std::string &view) {
    return sql(store_, "SELECT count(*), count(DISTINCT point_id) FROM " + view)[0];
  };
  // Whose samples nobody has erased yet, and whose staged samples stay for those beside it.
  sql(store_, "DELETE FROM object WHERE id = " + std::to_string(points_[0]));
  ASSERT_EQ(connection_.erase("W3.N", "P1"), 0);
  EXPECT_EQ(count("sample"), "149400|498");
  EXPECT_EQ(count("current_value"), "498|498");
  EXPECT_EQ(count("staged_sample"), "49800|498");
}

TEST_F(Views, KeepTheSignOfZero) {
  int32_t time = kMerged + kCalls;
  for (const double value : {-0.0, 0.0, -0.5, 5.0, -HUGE_VAL}) {
    write_all(time++, value);
    const auto file = database(store_);
    sqlite3_stmt *statement = nullptr;
    const std::string query = "SELECT value FROM current_value WHERE point_id = ?";
    sqlite3_prepare_v2(file.get(), query.c_str(), -1, &statement, nullptr);
    sqlite3_bind_int(statement, 1, points_[0]);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_type(statement, 0), SQLITE_FLOAT);
    const double shown = sqlite3_column_double(statement, 0);
    EXPECT_TRUE(shown == value && std::signbit(shown) == std::signbit(value)) << value << shown;
    sqlite3_finalize(statement);
  }
}

}  // namespace kelptest
