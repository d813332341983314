// What a row of statistics may be: the definitions that are known, by values that were worked out
// by hand, and the intervals of a range.
#include "habits/interval.h"

#include <gmock/gmock.h>

#include <cmath>
#include <map>

namespace kelpcheck {

namespace {

using A = Answer;

// From 100 to 110: 10 from the third second on and 20 from the seventh; 6 and 50 are its
// neighbours.
Interval interval() {
  Interval in;
  in.start = in.grid_start = 100;
  in.end = 110;
  in.samples = {{102, 0x11, 10}, {106, 0x06, 20}};
  in.before = Sample{98, 1, 6};
  in.behind = Sample{112, 1, 50};
  return in;
}

ExpectedField field_of(const char *name, const Interval &in, int32_t kind = R8) {
  for (const ExpectedField &field : expected_fields(in, kind)) {
    if (field.name == std::string(name)) return field;
  }
  throw std::out_of_range(name);
}

// What each definition gives; the last candidate of each.
std::map<Answer, double> by_definition(const ExpectedField &field) {
  std::map<Answer, double> all;
  for (const Candidate &candidate : field.candidates) all[candidate.answer] = candidate.value;
  return all;
}

}  // namespace

TEST(Definition, OfTheCurveGivesItsAreaAndItsMean) {
  const std::map<Answer, std::pair<double, double>> areas = {
      {A::steps_to_end, {120, 8}},  // area, seconds
      {A::steps_whole, {132, 10}}, {A::steps_between, {40, 4}}, {A::steps_back, {140, 10}},
      {A::steps_known, {52, 6}},   {A::lines_to_end, {180, 8}}, {A::lines_whole, {198, 10}},
      {A::lines_between, {60, 4}}, {A::lines_known, {140, 8}}};
  const ExpectedField flow = field_of("flow", interval()), avg = field_of("avg", interval());
  const auto flows = by_definition(flow), means = by_definition(avg);
  EXPECT_EQ(flows.size(), areas.size());
  EXPECT_EQ(Answers(entry_of(*flow.question).all()), entry_of(*avg.question).all());
  for (const auto &[answer, area] : areas) {
    const std::string name = entry_of(Question::statistics_flow).text_of(answer);
    ASSERT_TRUE(flows.contains(answer) && means.contains(answer)) << name;
    EXPECT_DOUBLE_EQ(flows.at(answer), area.first) << name;
    EXPECT_DOUBLE_EQ(means.at(answer), area.first / area.second) << name;
    EXPECT_TRUE(flow.in_bounds(area.first) && avg.in_bounds(area.first / area.second)) << name;
  }
  EXPECT_EQ(avg.allowed_by(15), Answers({A::steps_to_end, A::lines_between}));
  EXPECT_EQ(avg.allowed_by(15.1), Answers());
  EXPECT_FALSE(avg.in_bounds(5.9));
  EXPECT_FALSE(avg.in_bounds(50.1));
}

// A value outside the range that was asked for may have been looked at or not.
TEST(Definition, CountsANeighbourOutsideTheRangeInOrOut) {
  Interval in = interval();
  in.before_in_range = in.behind_in_range = false;
  const ExpectedField flow = field_of("flow", in);
  EXPECT_EQ(flow.allowed_by(132), Answers(A::steps_whole));
  EXPECT_EQ(flow.allowed_by(120), Answers({A::steps_whole, A::steps_to_end}));
  EXPECT_EQ(flow.allowed_by(180), Answers({A::lines_to_end, A::lines_whole}));
}

TEST(Definition, OfTheOtherFieldsIsTheirQuestions) {
  Interval in = interval();
  in.samples = {{102, 0x11, 10}, {104, -2, 20}, {106, 0x06, 20}, {108, 0x40, 10}};
  const struct {
    const char *field;
    double got;
    Answers allowed;
  } cases[] = {{"time", 100, A::start},
               {"time", 110, A::end},
               {"time", 109, A::inside},
               {"time", 105, A::middle},
               {"time", 102, A::first},
               {"time", 108, A::last},
               {"time", 107, {}},
               {"status", 0x11, A::first},
               {"status", -1, A::all_bits},
               {"status", -2, A::smallest},
               {"status", 0, A::zero},
               {"status", 7, {}},
               {"max", 20, A::kept},
               {"max", 10, {}},
               {"min", 10, A::kept},
               {"maxtime", 104, A::first},
               {"maxtime", 106, A::last},
               {"maxtime", 105, {}},
               {"mintime", 102, A::first},
               {"mintime", 108, A::last},
               {"mean", 15, A::kept},
               {"mean", 15.001, {}},
               {"stdev", std::nan(""), {}},
               {"stdev", 4.9, {}},
               {"stdev", std::sqrt(100.0 / 3), {A::sample, A::one_is_nan}},
               {"stdev", 5, {A::population, A::population_nan}},
               {"status", 0x40, {A::largest, A::last}}};
  for (const auto &[field, got, allowed] : cases) {
    EXPECT_EQ(field_of(field, in).allowed_by(got), allowed) << field << " " << got;
  }
  in.samples = {{102, 0x10, 10}, {106, 0x06, 20}};
  EXPECT_EQ(field_of("status", in).allowed_by(0x16), Answers(A::all_bits));
  in.samples.resize(1);
  EXPECT_EQ(field_of("stdev", in).allowed_by(0), Answers({A::population, A::sample}));
  EXPECT_EQ(field_of("stdev", in).allowed_by(NAN), Answers({A::population_nan, A::one_is_nan}));
}

// Those of AX may have been added up in 32 bits.
TEST(Definition, LeavesRoomForTheOrderOfAdding) {
  const Interval in = interval();
  EXPECT_FALSE(field_of("avg", in, R8).allowed_by(15 * (1 + 1e-10)).empty());
  EXPECT_TRUE(field_of("avg", in, R8).allowed_by(15 * (1 + 1e-6)).empty());
  EXPECT_FALSE(field_of("avg", in, AX).allowed_by(15 * (1 + 1e-6)).empty());
  EXPECT_TRUE(field_of("max", in, AX).allowed_by(20 * (1 + 1e-6)).empty());
}

TEST(Grid, LaysTheIntervalsOfARange) {
  // Their bounds and how many of the values each one holds.
  using Laid = std::vector<std::tuple<int64_t, int64_t, size_t>>;
  const std::vector<Sample> samples = {{-30, 0, 1}, {-12, 0, 2}, {3, 0, 3}, {4, 0, 4}, {16, 0, 5}};
  const struct {
    const char *name;
    Grid grid;
    Laid laid;
  } cases[] = {
      {"cut", {-15, 10, 10, A::begin, A::cut}, {{-15, -5, 1}, {-5, 5, 2}, {5, 10, 0}}},
      {"whole", {-15, 10, 10, A::begin, A::whole}, {{-15, -5, 1}, {-5, 5, 2}, {5, 15, 0}}},
      {"left out", {-15, 10, 10, A::begin, A::left_out}, {{-15, -5, 1}, {-5, 5, 2}}},
      {"beyond the end", {3, 14, 8, A::begin, A::whole, true}, {{3, 11, 2}, {11, 19, 1}}},
      {"not beyond it", {3, 14, 8, A::begin, A::whole}, {{3, 11, 2}, {11, 19, 0}}},
      {"on multiples",
       {-15, 10, 10, A::multiples, A::cut},
       {{-15, -10, 1}, {-10, 0, 0}, {0, 10, 2}}},
      {"the whole range", {-40, 20, 0, A::begin, A::cut}, {{-40, 20, 5}}},
      {"an empty one", {10, 10, 0, A::begin, A::cut}, {}},
  };
  for (const auto &[name, grid, laid] : cases) {
    Laid all;
    for (const Interval &in : intervals_of(grid, samples)) {
      all.emplace_back(in.start, in.end, in.samples.size());
    }
    EXPECT_EQ(all, laid) << name;
  }
}

TEST(Grid, KnowsTheNeighboursOfAnIntervalInsideTheRangeAndBeside) {
  const std::vector<Sample> samples = {{2, 0, 1}, {7, 0, 2}, {12, 0, 3}, {30, 0, 4}};
  const auto all = intervals_of({5, 25, 5}, samples);
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[0].before->time, 2);
  EXPECT_FALSE(all[0].before_in_range);
  EXPECT_EQ(all[0].behind->time, 12);
  EXPECT_TRUE(all[0].behind_in_range);
  EXPECT_EQ(all[1].before->time, 7);
  EXPECT_TRUE(all[1].before_in_range);
  EXPECT_EQ(all[1].behind->time, 30);
  EXPECT_FALSE(all[1].behind_in_range);
  EXPECT_TRUE(all[2].samples.empty());
}

}  // namespace kelpcheck
