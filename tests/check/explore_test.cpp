// The sequences of kelpcheck: what they are made of, what the model of a server allows, how a
// difference is made small; and the program in front of a library that goes wrong only after
// certain calls, with the C program that shows it.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "explore/generator.h"
#include "explore/model.h"
#include "explore/program.h"
#include "explore/shrink.h"
#include "support/process.h"

namespace kelpcheck::explore {

namespace {

constexpr int32_t kTime = 1346432400;
constexpr int64_t kSecond = 1'000'000'000;
const Target kPoint{Target::own, 0, "P1"};

Call insert(const Target &who) {
  Call call{Op::modify_object};
  call.node = who.name.empty() ? kDatabase : 0;
  call.entries = {{who}};
  return call;
}

Call write(double value, int32_t time = kTime) {
  Call call{Op::write_histroy_byid};
  call.who = kPoint;
  call.entries = {{kPoint, time, 0, value}};
  return call;
}

Call read(int32_t begin = kTime, int32_t end = kTime + 1) {
  Call call{Op::get_history_byid};
  call.entries = {{kPoint}};
  call.begin = begin;
  call.end = end;
  return call;
}

const Answer kAcknowledged{{{0, kResult}, kDone}, {{1, kEntry}, kDone}};

// A node and a point, there for a long time.
Model model_with_point(const Ways &ways) {
  Model model(Ground{ways});
  for (const Target &who : {Target{}, kPoint}) model.took(insert(who), kAcknowledged, 0);
  return model;
}

// "right", "early" or "wrong": what the model says of a row at that time.
std::string judge(const Model &model, const std::string &row, int64_t now,
                  const Call &call = read(), int32_t time = kTime) {
  Answer answer = kAcknowledged;
  if (row != kNone) answer[{1, kRow, time}] = row;
  answer[{1, "order of rows"}] = "that of time";
  answer[{1, "fetching"}] = kDone;
  const auto difference = compare(model.expect(call, now), answer);
  return !difference ? "right" : difference->early ? "early" : "wrong";
}

}  // namespace

TEST(Model, OfTwoValuesTakesThoseThatAServerMayKeep) {
  const struct {
    Second second;
    std::set<std::string> right;
  } cases[] = {{Second::replaces, {"0 2"}},
               {Second::first_stays, {"0 1"}},
               {Second::both, {"0 1, 0 2"}},
               {Second::unknown, {"0 1", "0 2", "0 1, 0 2"}}};
  const int64_t later = 100 * kSecond;
  for (const auto &[second, right] : cases) {
    Ways ways;
    ways.second = second;
    Model model = model_with_point(ways);
    for (const double value : {1.0, 2.0}) model.took(write(value), kAcknowledged, 50 * kSecond);
    for (const char *row : {"0 1", "0 2", "0 1, 0 2", "0 3", kNone}) {
      EXPECT_EQ(judge(model, row, later) == "right", right.contains(row)) << row;
    }
  }
}

TEST(Model, WhereServersAreLateTakesValuesOfSeveralWaysInAnyOrder) {
  for (const bool at_once : {true, false}) {
    Ways ways;
    ways.at_once = at_once;
    ways.second = Second::replaces;
    ways.snap_in_history = Known::yes;
    Model model = model_with_point(ways);
    Call snapshot = write(1);
    snapshot.op = Op::write_snap;
    snapshot.time = kTime;
    for (const Call &call : {snapshot, write(2), write(3)}) model.took(call, kAcknowledged, 0);
    EXPECT_EQ(judge(model, "0 3", 100 * kSecond), "right");
    EXPECT_EQ(judge(model, "0 1", 100 * kSecond), at_once ? "wrong" : "right");
  }
}

TEST(Model, WaitsForWhatWasAcknowledgedAndForNothingElse) {
  Model model = model_with_point(Ways::of_bundled());
  model.took(write(1), kAcknowledged, 50 * kSecond);
  model.took(write(2), kAcknowledged, 60 * kSecond);
  EXPECT_EQ(judge(model, "0 2", 61 * kSecond), "right");
  EXPECT_EQ(judge(model, "0 1", 61 * kSecond), "early");
  EXPECT_EQ(judge(model, "0 3", 61 * kSecond), "wrong");
  EXPECT_EQ(judge(model, "0 1", 66 * kSecond), "wrong");
  Answer fresh = kAcknowledged;
  fresh[{1, kRow, kTime}] = "0 2";
  model.took(read(), fresh, 61 * kSecond);
  EXPECT_EQ(judge(model, "0 1", 61 * kSecond), "wrong") << "it goes back";
}

TEST(Model, KnowsNotWhatAFailedCallHasDone) {
  Model model = model_with_point({});
  model.took(write(1), {{{0, kResult}, kFailed}}, 50 * kSecond);
  EXPECT_EQ(judge(model, kNone, 90 * kSecond), "right");
  EXPECT_EQ(judge(model, "0 1", 90 * kSecond), "right");
  EXPECT_EQ(judge(model, "0 2", 90 * kSecond), "wrong");
}

TEST(Model, DoubtsThatAnOlderCurrentValueBecomesHistory) {
  Ways ways;
  ways.value_in_history = Known::yes;
  Model model = model_with_point(ways);
  for (const int32_t time : {kTime + 10, kTime}) {
    Call current = write(1, time);
    current.op = Op::write_value;
    current.time = time;
    model.took(current, kAcknowledged, 50 * kSecond);
    EXPECT_EQ(judge(model, "0 1", 90 * kSecond, read(time, time + 1), time), "right");
    const bool newest = time > kTime;
    EXPECT_EQ(judge(model, kNone, 90 * kSecond, read(time, time + 1), time) == "right", !newest);
  }
}

TEST(Model, HasTheEndOfARangeInsideOrOutsideItAsTheServerHasIt) {
  for (const Known inside : {Known::yes, Known::no, Known::unknown}) {
    Ways ways;
    ways.end_inside = inside;
    Model model = model_with_point(ways);
    model.took(write(1), kAcknowledged, 50 * kSecond);
    const Call up_to = read(kTime - 5, kTime);
    EXPECT_EQ(judge(model, "0 1", 90 * kSecond, up_to) == "right", inside != Known::no);
    EXPECT_EQ(judge(model, kNone, 90 * kSecond, up_to) == "right", inside != Known::yes);
  }
}

// As far as the checks before the sequences can know them: a server may have statuses of its own,
// and ranges of whole intervals do not show what becomes of others.
TEST(Model, ComparesTheStatisticsOfAServerWhoseDefinitionsAreKnown) {
  using Q = Question;
  Habits habits;
  for (const Q question :
       {Q::statistics_time, Q::statistics_flow, Q::statistics_maxtime, Q::statistics_mintime,
        Q::statistics_avg, Q::statistics_stdev, Q::statistics_empty, Q::statistics_grid}) {
    habits.read(question, entry_of(question).bundled(), {});
  }
  using A = kelpcheck::Answer;
  habits.read(Q::statistics_status, {A::all_bits, A::changed}, {});
  habits.read(Q::statistics_last, {A::cut, A::whole}, {});
  Model model = model_with_point(Ways::of(habits));
  model.took(write(2), kAcknowledged, 0);
  model.took(write(4, kTime + 1), kAcknowledged, 0);
  Call call = read(kTime, kTime + 2);
  call.entries[0].mode = HistoryStatistics;
  call.interval = 2;
  Expectation whole = model.expect(call, 100 * kSecond);
  EXPECT_EQ(whole.at({1, "rows"}).good, std::vector<std::string>{"1"});
  EXPECT_EQ(whole.at({1, "mean of row 1"}).good, std::vector<std::string>{"3"});
  EXPECT_EQ(whole.at({1, "stdev of row 1"}).good, std::vector<std::string>{"1"});
  EXPECT_EQ(whole.count({1, "status of row 1"}), 0U);
  call.interval = 3;
  EXPECT_EQ(model.expect(call, 100 * kSecond).count({1, "rows"}), 0U) << "may be cut or whole";
  call.interval = 0;
  EXPECT_EQ(model.expect(call, 100 * kSecond).count({1, "rows"}), 0U) << "may have a length";
  call.interval = 1;
  call.end = kTime + 1;
  EXPECT_EQ(model.expect(call, 100 * kSecond).count({1, "rows"}), 0U) << "may be counted in or not";
}

TEST(Model, SumsUpTheRowsOfAnInterval) {
  Model model = model_with_point(Ways::of_bundled());
  for (const auto &[time, value] : {std::pair{0, 1.0}, {10, 4.0}, {40, -2.0}}) {
    model.took(write(value, kTime + time), kAcknowledged, 50 * kSecond);
  }
  Call statistics = read(kTime - 5, kTime + 100);
  statistics.entries[0].mode = HistoryStatistics;
  const Expectation all = model.expect(statistics, 90 * kSecond);
  const std::pair<const char *, std::string> fields[] = {
      {"time", std::to_string(kTime - 5)},
      {"max", "4"},
      {"maxtime", std::to_string(kTime + 10)},
      {"min", "-2"},
      {"mintime", std::to_string(kTime + 40)},
      {"flow", "10"},  // 1 for 10 s, 4 for 30 s, -2 for 60 s
      {"avg", "0.1"}};
  for (const auto &[field, value] : fields) {
    const auto expected = all.find({1, field + std::string(" of row 1")});
    ASSERT_NE(expected, all.end()) << field;
    EXPECT_FALSE(expected->second.anything()) << field;
    EXPECT_TRUE(expected->second.takes(value)) << field << " " << expected->second.good[0];
    EXPECT_FALSE(expected->second.takes("7")) << field;
    EXPECT_FALSE(expected->second.unsettled) << field;
    EXPECT_TRUE(model.expect(statistics, 51 * kSecond).at(expected->first).unsettled) << field;
  }
}

TEST(Generator, MakesTheSameOfTheSameSeedAndOfManyAllOperations) {
  const Place place{"W3", {"N1", "N2"}};
  Material material;
  std::set<std::string> lines;
  std::set<Op> operations;
  bool edge = false, twice = false, nothing = false;
  for (uint64_t number = 0; number < 60; ++number) {
    const Sequence sequence = make_sequence(material, number),
                   again = make_sequence(material, number);
    ASSERT_EQ(sequence.size(), again.size());
    for (size_t i = 0; i < sequence.size(); ++i) {
      const Call &call = sequence[i];
      EXPECT_EQ(line_of(call, place), line_of(again[i], place));
      lines.insert(line_of(call, place));
      operations.insert(call.op);
      nothing = nothing || (call.op == Op::write_value && call.entries.empty());
      edge = edge || (call.op == Op::write_snap && call.time < 0);
      twice = twice || (call.op == Op::get_value_byid && call.entries.size() > 1 &&
                        call.entries[0].who == call.entries[1].who);
    }
  }
  EXPECT_TRUE(edge && twice && nothing);
  EXPECT_GE(lines.size(), 2000u);
  EXPECT_EQ(operations.size(), 22u);  // the others are part of these calls
  material.seed = 2;
  const Sequence other = make_sequence(material, 0);
  EXPECT_FALSE(std::all_of(other.begin(), other.end(),
                           [&](const Call &call) { return lines.contains(line_of(call, place)); }));
}

TEST(Shrink, KeepsWhatIsNeededAndNothingElse) {
  const Sequence long_one = make_sequence({}, 7);
  ASSERT_GE(long_one.size(), 40u);
  // It goes wrong where anything is read by name behind a write of a snapshot with a value.
  const auto fails = [](const Sequence &sequence) {
    bool written = false;
    for (const Call &call : sequence) {
      if (call.op == Op::write_snap && !call.entries.empty()) written = true;
      if (written && by_name(call.op) && !writes(call) && !call.entries.empty()) return true;
    }
    return false;
  };
  ASSERT_TRUE(fails(long_one));
  const Sequence small = shrink(long_one, kTime, fails, [] { return false; });
  ASSERT_EQ(small.size(), 2u);
  for (const Call &call : small) {
    ASSERT_EQ(call.entries.size(), 1u);
    EXPECT_EQ(call.session, 0);
    EXPECT_EQ(call.entries[0].who.name, "P1");
  }
  EXPECT_LT(small[0].time - kTime, 100);
  EXPECT_EQ(small[0].entries[0].status, 0);
}

TEST(CProgram, CompilesWithoutAWarningWhateverOfACallItLooksAt) {
  const std::pair<Op, std::vector<const char *>> cases[] = {
      {Op::status, {kResult}},
      {Op::get_system_time, {kResult}},
      {Op::decode_time, {kResult, "fields", "encoded again"}},
      {Op::get_database, {kResult, "the database in the list"}},
      {Op::init, {kResult}}};
  const kelptest::TempFolder folder;
  for (const auto &[op, items] : cases) {
    for (const char *item : items) {
      const Finding finding{0, {{0, item}, {"1"}, "2"}};
      std::ofstream(folder.path("it.c"))
          << c_program({Call{op}}, {"W3", {"N1", "N2"}}, finding, {});
      kelptest::Process compiler({"sh", "-c",
                                  C_COMPILER " -std=c11 -Wall -Wextra -pedantic -Werror"
                                             " -fsyntax-only " +
                                      folder.path("it.c")});
      EXPECT_EQ(compiler.wait(std::chrono::seconds(60)), 0) << item << compiler.errors();
    }
  }
}

}  // namespace kelpcheck::explore

namespace kelptest {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

namespace {

Words with_fault(const std::string &fault) {
  return preloaded(FAULTY_LIBRARY, {"KELP_FAULT=" + fault});
}

}  // namespace

// On a machine that is slow under the sanitizers the time to make a sequence small can run out.
constexpr double kTimeToShorten = 8;  // seconds
constexpr size_t kLongest = 60;       // calls of a sequence

// A fault that shows only after certain calls, and how many calls are enough to show it.
struct LateFault {
  const char *fault;
  size_t calls;
};

class Sequences : public testing::TestWithParam<LateFault> {};

INSTANTIATE_TEST_SUITE_P(Late, Sequences,
                         testing::Values(LateFault{"write_snap:lost after write_cache", 7},
                                         LateFault{"write_value:lost after an update", 6},
                                         LateFault{"write_histroy_byname:lost after a deletion", 8},
                                         LateFault{"write_histroy_byid:third lost", 7},
                                         LateFault{"get_value_byname:crash after write_cache", 5}));

TEST_P(Sequences, FindAFaultMakeItSmallAndShowItInC) {
  const auto &[fault, calls] = GetParam();
  const TempFolder folder;
  const std::string host = "file:" + folder.path("store"), source = folder.path("shown.c");
  Process run({CHECK_PROGRAM, "-H" + host, "-O8", "--only", "explore.*", "--explore-calls=4000",
               "--seed=3", "--settle=0.3", "--reproduce", source, "--json", folder.path("json")},
              with_fault(fault));
  ASSERT_EQ(run.wait(120s), 1) << fault << run.output() << run.errors();
  nlohmann::json report;
  std::ifstream(folder.path("json")) >> report;
  EXPECT_EQ(report["options"]["seed"], 3);
  for (const auto &check : report["checks"]) {
    if (check["name"] != "explore.sequences") continue;
    const size_t steps = check["first_difference"]["steps"].size();
    const bool had_time = check["seconds"] < kTimeToShorten;
    EXPECT_LE(steps, had_time ? calls + 1 : kLongest) << run.output();
  }
  const std::string program = folder.path("shown");
  Process compiler({"sh", "-c",
                    C_COMPILER " -std=c11 -Wall -Wextra -pedantic -Werror -o " + program + " " +
                        source + " " LIBRARY});
  ASSERT_EQ(compiler.wait(60s), 0) << fault << compiler.errors();
  Process shown({program, host}, with_fault(fault)), not_there({program, host + "2"});
  EXPECT_EQ(shown.wait(60s), 1) << fault << shown.output() << shown.errors();
  EXPECT_EQ(not_there.wait(60s), 0) << fault << not_there.output() << not_there.errors();
  Process no_session({program, "file:" + folder.path("none/store")});
  EXPECT_EQ(no_session.wait(60s), 2) << no_session.errors();
}

}  // namespace kelptest
