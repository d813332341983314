// The results of a query: exactly what was there when it was asked, in any order, of any size.
#include <algorithm>
#include <ctime>
#include <random>
#include <set>

#include "contract.h"

namespace kelptest {

namespace {

// Rows at every second second, so that others fit between them.
Rows even_rows(int32_t count) {
  Rows rows;
  for (int32_t i = 0; i < count; ++i) rows.push_back({2 * i, 1, i + 0.5});
  return rows;
}

double processor_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

// The time that it takes to fetch a row of each of these results in turn.
double time_to_fetch(const std::vector<Result> &results, const std::vector<size_t> &turns) {
  const double begin = processor_seconds();
  for (const size_t turn : turns) EXPECT_NE(fetch(results[turn]), std::nullopt);
  return processor_seconds() - begin;
}

}  // namespace

TEST_P(Contract, AResultIsWhatWasThereWhenItWasAskedFor) {
  const Ids ids = connection_.make_points(2);
  const Rows rows = even_rows(20'000);
  ASSERT_EQ(connection_.write_history(ids[0], rows), 0);
  ASSERT_EQ(connection_.write_history(ids[1], rows), 0);
  const auto timed = connection_.query(ids, HistoryTimed);
  const auto folded = connection_.query(ids, HistoryStatistics, {0, 40'000, 4});
  ASSERT_EQ(fetch(timed[0]), rows[0]);

  const Connection other(login_);
  Rows between = rows;
  for (Row &row : between) ++row.time;
  ASSERT_EQ(other.write_history(ids[0], between), 0);
  ASSERT_EQ(other.write_history(ids[0], {{30'000, 0, -1}}), 0);
  ASSERT_EQ(other.erase("W3.N", "P1"), 0);
  connection_.close();

  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(kelp2_num_rows(timed[i].get()), 20'000);
    EXPECT_EQ(kelp2_num_rows(folded[i].get()), 10'000);
    for (size_t row = 1 - i; row < rows.size(); ++row) ASSERT_EQ(fetch(timed[i]), rows[row]) << row;
    EXPECT_EQ(fetch(timed[i]), std::nullopt);
    for (int32_t row = 0; row < 10'000; ++row) {
      StatValue statistics;
      ASSERT_EQ(kelp2_fetch_stat_value(folded[i].get(), &statistics), row == 9999 ? 1 : 0);
      ASSERT_EQ(statistics.mean, 2 * row + 1);
    }
  }
}

// Three results for each of many points, each read in another order: one point after the other; a
// row of each in turn, as a program does that prints a line for each time; and by chance. Once they
// are there all engines are alike.
TEST(Result, ReadingInAnyOrderCostsAboutTheSame) {
  constexpr size_t points = 200, results_each = 300, rows_each = 5;
  constexpr size_t third = points * results_each / 3;
  const TempFolder folder;
  const Connection connection({"file:" + folder.path("store")});
  const Ids ids = connection.make_points(points);
  Ids row_ids;
  Rows rows;
  for (size_t i = 0; i < points * rows_each; ++i) {
    row_ids.push_back(ids[i % points]);
    rows.push_back({static_cast<int32_t>(i / points)});
  }
  ASSERT_EQ(first_failure(connection.write_cache(row_ids, rows)), 0);
  Ids asked;
  for (size_t i = 0; i < points * results_each; ++i) asked.push_back(ids[i % points]);
  std::vector<size_t> in_order, in_step, shuffled;
  for (size_t i = 0; i < third * rows_each; ++i) {
    in_order.push_back(i / rows_each);
    in_step.push_back(third + i % third);
    shuffled.push_back(2 * third + i % third);
  }
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937());
  const double begin = processor_seconds();
  const auto results = connection.query(asked, HistoryTimed);
  const double query = (processor_seconds() - begin) / 3;
  const double least = query + time_to_fetch(results, in_order);
  EXPECT_LT(query + time_to_fetch(results, in_step), 3 * least);
  EXPECT_LT(query + time_to_fetch(results, shuffled), 3 * least);
}

// Of a long result, with times from one end to the other.
TEST_P(Contract, RowCountsAreExactInBothModes) {
  const Ids ids = connection_.make_points(1);
  constexpr int32_t apart = 1'431'000;
  Rows rows;
  for (int64_t time = INT32_MIN; time < INT32_MAX; time += apart) {
    rows.push_back({static_cast<int32_t>(time)});
  }
  ASSERT_EQ(connection_.write_history(ids[0], rows), 0);
  for (const int32_t begin : {INT32_MIN, -1, 7}) {
    for (const int32_t step : {1, 1000, 7 * apart + 1, INT32_MAX, 0, -1}) {
      int32_t samples = 0;
      std::set<int64_t> intervals;
      for (const Row &row : rows) {
        if (row.time < begin) continue;
        ++samples;
        intervals.insert(step > 0 ? (int64_t{row.time} - begin) / step : 0);
      }
      const Span span{begin, INT32_MAX, step};
      const auto timed = connection_.query(ids, HistoryTimed, span);
      const auto folded = connection_.query(ids, HistoryStatistics, span);
      EXPECT_EQ(kelp2_num_rows(timed[0].get()), samples) << begin;
      EXPECT_EQ(kelp2_num_rows(folded[0].get()), intervals.size()) << begin << ' ' << step;
    }
  }
}

}  // namespace kelptest
