// What reading the results of a query costs, told by the calls that reach the store, and what their
// row counts promise while the store changes.
#include "store/history_cursor.h"

#include <algorithm>
#include <numeric>
#include <set>

#include "contract.h"

namespace kelptest {

namespace {

// Point i has samples at the times 0, 1, ... below its length.
struct CountingSource : kelp::SampleSource {
  explicit CountingSource(Ids lengths_of_points) : lengths(std::move(lengths_of_points)) {}

  std::vector<std::vector<kelp::Sample>> range(std::span<const kelp::RangeStart> points,
                                               int32_t end, size_t limit) override {
    ++calls;
    if (calls == failing_call) throw kelp::Failure(kelp::kLost, "gone");
    EXPECT_LE(points.size() * limit, 131'072U);
    std::vector<std::vector<kelp::Sample>> samples;
    for (const auto &[id, begin] : points) {
      const int64_t most = begin + static_cast<int64_t>(limit);
      const auto stop = static_cast<int32_t>(std::min<int64_t>({lengths[id], end, most}));
      auto &of_point = samples.emplace_back();
      for (int32_t time = begin; time < stop; ++time) of_point.push_back({.time = time});
      rows += of_point.size();
    }
    return samples;
  }
  int64_t count(kelp::RangeStart, int32_t, int32_t) override { return 0; }

  Ids lengths;
  size_t calls = 0;
  size_t rows = 0;
  size_t failing_call = 0;
};

using Results = std::vector<std::unique_ptr<kelp::HistoryResult>>;

Results results_of(const std::shared_ptr<CountingSource> &source) {
  Ids ids;
  while (ids.size() < source->lengths.size()) ids.push_back(static_cast<int32_t>(ids.size()));
  const kelp::Intervals all{0, INT32_MAX, 1};
  const auto cursor = std::make_shared<kelp::HistoryCursor>(source, ids, all);
  Results results;
  for (uint32_t point = 0; point < ids.size(); ++point) {
    results.push_back(std::make_unique<kelp::HistoryResult>(cursor, point, HistoryTimed));
  }
  return results;
}

}  // namespace

TEST(HistoryCursor, ReadsWholePointsInFewCallsInAnyOrder) {
  enum Order { kInOrder, kBackwards, kInStep, kInStepBackwards };
  const struct {
    Order order;
    int32_t points;
    int32_t length;
    uint32_t most_calls;
    double most_rows;        // times those that there are
    int32_t long_every = 1;  // that point has all of the length, the others a tenth
  } cases[] = {{kInOrder, 1000, 360, 5, 1.0},       {kInOrder, 20'000, 10, 10, 1.0},
               {kInOrder, 1, 1'000'000, 35, 1.0},   {kInOrder, 100, 5000, 30, 1.2},
               {kInOrder, 1000, 3600, 99, 1.2, 10}, {kBackwards, 1000, 360, 1000, 1.2},
               {kInStep, 1000, 360, 8, 1.5},        {kInStep, 20'000, 30, 30, 1.5},
               {kInStep, 1000, 3600, 99, 1.5, 10},  {kInStepBackwards, 1000, 360, 1010, 1.6}};
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message()
                 << "order " << c.order << ": " << c.points << " x " << c.length);
    Ids lengths;
    for (int32_t i = 0; i < c.points; ++i) {
      lengths.push_back(i % c.long_every == 0 ? c.length : c.length / 10);
    }
    const auto source = std::make_shared<CountingSource>(lengths);
    const Results results = results_of(source);
    const bool in_step = c.order == kInStep || c.order == kInStepBackwards;
    const bool backwards = c.order == kBackwards || c.order == kInStepBackwards;
    Ids next(lengths.size());
    const auto rows = std::accumulate(lengths.begin(), lengths.end(), size_t{0});
    size_t left = rows;
    for (int32_t visit = 0; left > 0; ++visit) {
      const int32_t i = backwards ? c.points - 1 - visit % c.points : visit % c.points;
      const int32_t stop = in_step ? std::min(next[i] + 1, lengths[i]) : lengths[i];
      for (; next[i] < stop; ++next[i], --left) {
        ASSERT_EQ(results[i]->next_sample().time, next[i]);
      }
    }
    EXPECT_LE(source->calls, c.most_calls);
    EXPECT_LE(static_cast<double>(source->rows), static_cast<double>(rows) * c.most_rows);
  }
}

TEST(HistoryCursor, TellsAFailureOnce) {
  const auto source = std::make_shared<CountingSource>(Ids{600});
  source->failing_call = 2;
  const Results results = results_of(source);
  for (int32_t row = 0; row < 512; ++row) results[0]->next_sample();
  for (const std::string cause : {"gone", ""}) {
    try {
      results[0]->next_sample();
      FAIL();
    } catch (const kelp::Failure &failure) {
      EXPECT_EQ(failure.code(), kelp::kLost);
      EXPECT_EQ(failure.what(), cause);
    }
  }
  EXPECT_EQ(source->calls, 2U);
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

TEST_P(Contract, ARowCountStaysAsItWasFirstTold) {
  const Ids ids = connection_.make_points(1);
  Rows rows;
  for (int32_t time = 0; time < 3000; ++time) rows.push_back({time});
  ASSERT_EQ(connection_.write_history(ids[0], rows), 0);
  const auto grown = connection_.query(ids, HistoryTimed);
  const auto deleted = connection_.query(ids, HistoryTimed);
  EXPECT_EQ(kelp2_num_rows(grown[0].get()), 3000);
  EXPECT_EQ(kelp2_num_rows(deleted[0].get()), 3000);

  ASSERT_EQ(connection_.write_history(ids[0], {{5000}}), 0);
  for (const Row &row : rows) ASSERT_EQ(fetch(grown[0]), row);
  EXPECT_EQ(fetch(grown[0]), std::nullopt);
  EXPECT_EQ(kelp2_num_rows(grown[0].get()), 3000);

  EXPECT_EQ(connection_.erase("W3.N", "P0"), 0);
  size_t delivered = 0;
  while (fetch(deleted[0])) ++delivered;
  EXPECT_LT(delivered, rows.size());
  EXPECT_EQ(kelp2_num_rows(deleted[0].get()), 3000);
}

}  // namespace kelptest
