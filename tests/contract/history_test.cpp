// Results of history queries: their ranges and statistics, and the order in which they are read.
#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

#include "contract.h"

namespace kelptest {

namespace {

std::string line_of(const StatValue &row) {
  std::ostringstream line;
  line << std::setprecision(15) << row.time << ' ' << row.status << ' ' << row.flow << ' '
       << row.max << ' ' << row.min << ' ' << row.maxtime << ' ' << row.mintime << ' ' << row.avg
       << ' ' << row.mean << ' ' << row.stdev;
  return line.str();
}

// All rows of a result of statistics, of which the last one says that it is the last.
Names statistics_of(const Result &result) {
  Names lines;
  StatValue row;
  for (int32_t left = kelp2_num_rows(result.get()); left > 0; --left) {
    EXPECT_EQ(kelp2_fetch_stat_value(result.get(), &row), left == 1 ? 1 : 0);
    lines.push_back(line_of(row));
  }
  EXPECT_LT(kelp2_fetch_stat_value(result.get(), &row), 0);
  return lines;
}

const Rows kRows{{INT32_MIN, 0, 7}, {1000, -1, 2}, {1004, -1, 6}, {1008, -1, 4},
                 {1022, -1, -3},    {2005, 0, 10}, {2009, 0, 20}, {INT32_MAX, 0, 0}};

}  // namespace

// A row: time, status, flow, max, min, maxtime, mintime, avg, mean, stdev.
TEST_P(Contract, StatisticsAreAsWorkedOutByHand) {
  const int32_t id = connection_.make_points(1)[0];
  EXPECT_EQ(connection_.write_history(id, kRows), 0);
  const std::string whole = "1000 -1 79 6 -3 1004 1022 3.16 2.25 3.34477204006491";
  const std::pair<Span, Names> cases[] = {
      // An empty interval is left out and the last one is cut; the end is not part of the range.
      {{1000, 1025, 10},
       {"1000 -1 40 6 2 1004 1000 4 4 1.63299316185545", "1020 -1 -9 -3 -3 1022 1022 -3 -3 0"}},
      {{1000, 1008, 10}, {"1000 -1 32 6 2 1004 1000 4 4 2"}},
      // Intervals count from the beginning of the range, the curve begins with the first sample.
      {{1003, 1025, 10},
       {"1003 -1 44 6 4 1004 1008 4.88888888888889 5 1", "1013 -1 -3 -3 -3 1022 1022 -3 -3 0"}},
      {{1000, 1025, -1}, {whole}},
      {{1000, 1025, 0}, {whole}},
      {{2006, INT32_MAX, INT32_MAX}, {"2006 0 42949632760 20 20 2009 2009 20 20 0"}},
      {{INT32_MIN, INT32_MIN + 1, 9}, {"-2147483648 0 7 7 7 -2147483648 -2147483648 7 7 0"}},
      {{-1, 1001, INT32_MAX}, {"-1 -1 2 2 2 1000 1000 2 2 0"}},
      {{1025, 1000, 10}, {}}};
  for (const auto &[span, expected] : cases) {
    const std::vector<Result> results = connection_.query({id}, HistoryStatistics, span);
    EXPECT_EQ(statistics_of(results[0]), expected)
        << span.begin << ' ' << span.end << ' ' << span.step;
  }
}

TEST_P(Contract, ValuesThatAreNotFiniteHaveNoDeviation) {
  const int32_t id = connection_.make_points(1)[0];
  EXPECT_EQ(connection_.write_history(id, {{0, 0, NAN}, {10, 0, HUGE_VAL}, {20, 0, 1}}), 0);
  const std::vector<Result> results = connection_.query({id}, HistoryStatistics, {0, 30, 10});
  for (const bool finite : {false, false, true}) {
    StatValue row;
    EXPECT_GE(kelp2_fetch_stat_value(results[0].get(), &row), 0);
    EXPECT_EQ(std::isnan(row.stdev), !finite);
  }
}

TEST_P(Contract, ResultsAreExactInWhateverOrderTheyAreRead) {
  // Points without rows, with a few, and two with more than are held at a time.
  constexpr int32_t points = 1500;
  const Ids ids = connection_.make_points(points);
  std::vector<Rows> expected(points);
  Ids row_ids;
  Rows rows;
  for (int32_t point = 0; point < points; ++point) {
    for (int32_t left = point % 700 == 3 ? 9001 : point % 9; left > 0; --left) {
      row_ids.push_back(ids[point]);
      rows.push_back({-left, static_cast<int16_t>(point), point * 1e6 + left});
      expected[point].push_back(rows.back());
    }
  }
  EXPECT_EQ(first_failure(connection_.write_cache(row_ids, rows)), 0);

  const struct {
    const char *name;
    size_t rounds;  // through all results, reading a part of each
    bool backwards = false;
    bool some_released_unread = false;
    bool disconnected = false;  // which results outlive
  } cases[] = {{"in order", 1},
               {"backwards", 1, true},
               {"halves, some released", 2, false, true},
               {"halves backwards, some released", 2, true, true},
               {"in seven rounds", 7},
               {"in seven rounds backwards, without the connection", 7, true, false, true}};
  for (const auto &order : cases) {
    SCOPED_TRACE(order.name);
    std::vector<Result> results = connection_.query(ids, HistoryTimed);
    if (order.disconnected) connection_.close();
    std::vector<size_t> next(points);
    for (size_t visit = 0; visit < points * order.rounds; ++visit) {
      const size_t i = order.backwards ? points - 1 - visit % points : visit % points;
      if (order.some_released_unread && i % 3 == 0) results[i].reset();
      if (!results[i]) continue;
      const size_t part = expected[i].size() / order.rounds + 1;
      const size_t end = std::min(next[i] + part, expected[i].size());
      for (; next[i] < end; ++next[i]) ASSERT_EQ(fetch(results[i]), expected[i][next[i]]) << i;
      ASSERT_EQ(kelp2_num_rows(results[i].get()), static_cast<int32_t>(expected[i].size())) << i;
    }
  }
}

}  // namespace kelptest
