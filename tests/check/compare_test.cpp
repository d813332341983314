// What a comparison decides by: batches of calls, and statistics that are right as often as they
// say.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "compare/timed.h"
#include "result/batches.h"

namespace kelpcheck {

TEST(Batches, HoldAllCallsInTheirOrderInAFixedNumber) {
  for (const int64_t calls : {1, 31, 32, 33, 1000, 123'457}) {
    Batches batches{};
    for (int64_t call = 1; call <= calls; ++call) batches.add(call);
    int64_t counted = 0;
    double before = 0;
    for (const Batches::Batch &batch : batches.all()) {
      EXPECT_GT(batch.mean(), before);
      before = batch.mean();
      counted += batch.calls;
    }
    EXPECT_EQ(counted, calls);
    EXPECT_LE(before, static_cast<double>(calls) * 1.001);
    EXPECT_GE(batches.all().size(), static_cast<size_t>(std::min<int64_t>(calls, 16)));
    EXPECT_LE(batches.all().size(), static_cast<size_t>(Batches::kMost));
  }
}

TEST(Batches, OfOneProcessAfterTheOtherAreMerged) {
  Batches all{}, later{};
  for (int64_t call = 0; call < 100; ++call) all.add(10);
  for (int64_t call = 0; call < 100; ++call) later.add(30);
  all.merge(later);
  EXPECT_NEAR(all.all().front().mean(), 10, 1e-9);
  EXPECT_NEAR(all.all().back().mean(), 30, 1e-9);
  EXPECT_LE(all.all().size(), static_cast<size_t>(Batches::kMost));
}

TEST(Student, HasItsTabulatedQuantiles) {
  const struct {
    double probability;
    int freedom;
    double quantile;
  } table[] = {{0.025, 1, 12.7062},  {0.05, 2, 2.91999},    {0.025, 5, 2.57058},
               {0.025, 30, 2.04227}, {0.0005, 10, 4.58689}, {0.005, 120, 2.61742}};
  for (const auto &row : table) {
    EXPECT_NEAR(student_quantile(row.probability, row.freedom), row.quantile, 1e-4);
  }
}

// Runs of forty operations as servers give them: each has calls of its own length and spread,
// neighbours are alike, and a run as a whole drifts.
class Runs {
 public:
  explicit Runs(unsigned seed) : random_(seed) {}

  std::vector<Timed> pair(double slower, size_t slow_operation) {
    std::vector<Timed> all;
    const double drift = normal(0.03);
    for (size_t operation = 0; operation < 40; ++operation) {
      const double spread = 0.01 + 0.004 * static_cast<double>(operation);
      const double change = (operation == slow_operation ? std::log(slower) : 0) + normal(0.04);
      const auto before = run(spread, 0), after = run(spread, drift + change);
      all.push_back({std::to_string(operation), 1, 1, shift_of(before, after).value()});
    }
    return all;
  }

 private:
  double normal(double deviation) {
    return std::normal_distribution<double>(0, deviation)(random_);
  }
  std::vector<MeanOfCalls> run(double spread, double shift) {
    std::vector<MeanOfCalls> batches;
    double noise = normal(spread);
    for (int batch = 0; batch < 24; ++batch) {
      noise = 0.5 * noise + normal(spread);
      const double structure = batch % 3;  // calls of several sizes, the same in both runs
      batches.push_back({10, std::exp(structure + noise + shift)});
    }
    return batches;
  }

  std::mt19937 random_;
};

TEST(Comparison, OfRunsOnTheSameServerSeldomShowsADifference) {
  Runs runs(1);
  int wrong = 0;
  for (int pair = 0; pair < 100; ++pair) {
    int differences = 0;
    for (const ComparisonLine &line : judge_all(runs.pair(1, 0), 0.1)) {
      differences += line.change == Change::same ? 0 : 1;
    }
    wrong += differences > 0 ? 1 : 0;
  }
  EXPECT_LE(wrong, 5) << "of 100 pairs";
}

TEST(Comparison, ShowsAnOperationThatIsTwiceAsSlowWhereItSaysSo) {
  Runs runs(2);
  int promised = 0, seen = 0;
  for (int pair = 0; pair < 100; ++pair) {
    const size_t operation = static_cast<size_t>(pair) % 40;
    const std::vector<Timed> all = runs.pair(2, operation);
    std::vector<Shift> estimates;
    for (const Timed &timed : all) estimates.push_back(timed.estimate);
    const Judgement judgement =
        judge_one(all[operation].estimate, common_of(estimates).apart, all.size(), 0.1);
    if (judgement.smallest > 1) continue;
    ++promised;
    seen += judgement.differs && judgement.ratio > 1 ? 1 : 0;
  }
  EXPECT_GE(promised, 50);
  EXPECT_GE(seen, promised * 95 / 100);
}

TEST(Comparison, SaysAChangeInPercentOrInTimesAndNeverTooSmall) {
  EXPECT_EQ(change_text(0.12), "12 %");
  EXPECT_EQ(change_text(0.991), "100 %");
  EXPECT_EQ(change_text(1.0), "2 times");
  EXPECT_EQ(change_text(1.31), "2.4 times");
  EXPECT_EQ(change_text(9), "10 times");
}

TEST(Comparison, OfTooFewCallsIsNone) {
  const std::vector<MeanOfCalls> few(5, {1, 0.1}), none, zeros(20, {1, 0});
  EXPECT_FALSE(shift_of(few, few));
  EXPECT_FALSE(shift_of(none, none));
  EXPECT_FALSE(shift_of(zeros, zeros));
}

}  // namespace kelpcheck
