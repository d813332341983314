// What may be read of a point after what was acknowledged, by what is known of the server.
#include "habits/ledger.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace kelpcheck {

namespace {

using A = Answer;
using Q = Question;

constexpr int32_t kTime = 1'000'000;

struct Write {
  Way way;
  int64_t call;
  double value;
  bool doubtful = false;
  int32_t time = kTime;
};
using Known = std::vector<std::pair<Question, Answers>>;

Habits habits_of(const Known &known) {
  Habits habits;
  for (const auto &[question, answers] : known) habits.read(question, answers, {"there", "read"});
  return habits;
}

Sample sample_of(const Write &write) { return {write.time, 7, write.value}; }

Ledger ledger_of(const std::vector<Write> &writes) {
  Ledger ledger;
  for (const Write &write : writes) {
    if (write.doubtful) ledger.add_doubtful(write.way, write.call, sample_of(write));
    if (!write.doubtful) ledger.add(write.way, write.call, sample_of(write));
  }
  return ledger;
}

// The values of each alternative, such as "1", "1 2" where both are there, and "" for nothing.
std::set<std::string> values(const Alternatives &alternatives) {
  std::set<std::string> all;
  for (const Alternative &alternative : alternatives) {
    std::string one;
    for (const Sample &sample : alternative) one += (one.empty() ? "" : " ") + show(sample.value);
    EXPECT_TRUE(all.insert(one).second) << one << " twice";
  }
  return all;
}

constexpr Way kHistory = Way::history, kCurrent = Way::current, kSnapshot = Way::snapshot,
              kCache = Way::cache;

struct Case {
  const char *name;
  Known known;
  std::vector<Write> writes;
  std::set<std::string> expected;
};

const std::vector<Write> kTwo = {{kHistory, 1, 1}, {kHistory, 2, 2}};
const std::vector<Write> kThree = {{kHistory, 1, 1}, {kHistory, 2, 2}, {kHistory, 3, 3}};
const std::vector<Write> kInCall = {{kHistory, 1, 1}, {kHistory, 1, 2}};
const std::vector<Write> kCached = {{kCache, 1, 1}};
const Known kReplaces = {{Q::second_value, A::replaces}};

const Case kHistoryCases[] = {
    {"nothing was written", {}, {}, {""}},
    {"one", {}, {{kHistory, 1, 1}}, {"1"}},
    {"one that was refused", {}, {{kHistory, 1, 1, true}}, {"", "1"}},
    {"two, and nothing is known", {}, kTwo, {"1", "2", "1 2"}},
    {"two, the later one replaces", kReplaces, kTwo, {"2"}},
    {"two, the first stays", {{Q::second_value, A::ignored}}, kTwo, {"1"}},
    {"two that stay", {{Q::second_value, A::both}}, kTwo, {"1 2"}},
    {"two, some answers left", {{Q::second_value, {A::ignored, A::both}}}, kTwo, {"1", "1 2"}},
    {"two, the later one was refused",
     kReplaces,
     {{kHistory, 1, 1}, {kHistory, 2, 2, true}},
     {"1", "2"}},
    {"refused each time, and taken now", {{Q::second_value, A::refused}}, kTwo, {"1", "2", "1 2"}},
    {"two of one call have a habit of their own",
     {{Q::second_value, A::replaces}, {Q::second_in_call, A::ignored}},
     kInCall,
     {"1"}},
    {"three, the last one replaces", kReplaces, kThree, {"3"}},
    {"three, the first stays", {{Q::second_value, A::ignored}}, kThree, {"1"}},
    {"three that stay", {{Q::second_value, A::both}}, kThree, {"1 2 3"}},
    {"current values are history", {{Q::current_in_history, A::yes}}, {{kCurrent, 1, 1}}, {"1"}},
    {"they are not", {{Q::current_in_history, A::no}}, {{kCurrent, 1, 1}}, {""}},
    {"some of them are", {{Q::current_in_history, A::some}}, {{kCurrent, 1, 1}}, {"", "1"}},
    {"it is not known", {}, {{kCurrent, 1, 1}}, {"", "1"}},
    {"cached rows are history at once", {{Q::cache, A::at_once}}, kCached, {"1"}},
    {"later", {{Q::cache, A::later}}, kCached, {"1"}},
    {"in part", {{Q::cache, A::some}}, kCached, {"", "1"}},
    {"never", {{Q::cache, A::never}}, kCached, {""}},
    {"of different ways either one may stay",
     {{Q::second_value, A::replaces}, {Q::cache, A::at_once}},
     {{kHistory, 1, 1}, {kCache, 2, 2}},
     {"1", "2", "1 2"}},
    {"snapshots have a habit of their own",
     {{Q::snapshot_in_history, A::yes}, {Q::second_snapshot, A::ignored}},
     {{kSnapshot, 1, 1}, {kSnapshot, 2, 2}},
     {"1"}},
    {"what never becomes history does not blur what stands beside it",
     {{Q::second_value, A::replaces}, {Q::cache, A::never}},
     {{kHistory, 1, 1}, {kCache, 2, 2}, {kHistory, 3, 3}},
     {"3"}},
};

const std::vector<Write> kOlder = {{kCurrent, 1, 1}, {kCurrent, 2, 2, false, kTime - 9}};
const std::vector<Write> kEqual = {{kCurrent, 1, 1}, {kCurrent, 2, 2}};
const std::vector<Write> kWithOlderSnapshot = {{kCurrent, 1, 1},
                                               {kSnapshot, 2, 2, false, kTime - 9}};
const std::vector<Write> kWithSnapshot = {{kCurrent, 1, 1}, {kSnapshot, 2, 2, false, kTime + 9}};

const Case kCurrentCases[] = {
    {"nothing was written", {}, {}, {""}},
    {"history sets none", {}, {{kHistory, 1, 1}, {kCache, 2, 2}}, {""}},
    {"the later of two", {}, {{kCurrent, 1, 1}, {kCurrent, 2, 2, false, kTime + 9}}, {"2"}},
    {"it was refused", {}, {{kCurrent, 1, 1}, {kCurrent, 2, 2, true, kTime + 9}}, {"1", "2"}},
    {"an older one replaces", {{Q::older_current, A::replaces}}, kOlder, {"2"}},
    {"an older one is ignored", {{Q::older_current, A::ignored}}, kOlder, {"1"}},
    {"it is not known", {}, kOlder, {"1", "2"}},
    {"one of the same time is ignored", {{Q::equal_current, A::ignored}}, kEqual, {"1"}},
    {"two of one call have a habit of their own",
     {{Q::equal_current, A::ignored}, {Q::second_current_in_call, A::replaces}},
     {{kCurrent, 1, 1}, {kCurrent, 1, 2}},
     {"2"}},
    {"snapshots never set it", {{Q::snapshot_sets_current, A::never}}, kWithSnapshot, {"1"}},
    {"newer ones do", {{Q::snapshot_sets_current, A::if_newer}}, kWithSnapshot, {"2"}},
    {"older ones do not", {{Q::snapshot_sets_current, A::if_newer}}, kWithOlderSnapshot, {"1"}},
    {"a snapshot where there was none",
     {{Q::snapshot_sets_current, A::if_newer}},
     {{kSnapshot, 1, 1}},
     {"1"}},
};

}  // namespace

TEST(Ledger, AllowsWhatTheHabitsLeave) {
  for (const auto &[name, known, writes, expected] : kHistoryCases) {
    EXPECT_EQ(values(ledger_of(writes).settled(habits_of(known), kTime)), expected) << name;
  }
}

TEST(Ledger, AllowsAnyOrderOfSeveralWaysWhereAServerIsLate) {
  Habits habits = habits_of({{Q::second_value, A::replaces}, {Q::snapshot_in_history, A::yes}});
  const Ledger ledger = ledger_of({{kSnapshot, 1, 1}, {kHistory, 2, 2}, {kHistory, 3, 3}});
  EXPECT_FALSE(values(ledger.settled(habits, kTime)).contains("1"));
  habits.longest_wait = 0.05;
  EXPECT_TRUE(values(ledger.settled(habits, kTime)).contains("1"));
}

TEST(Ledger, KnowsTheCurrentValueByTheOrderOfTheCalls) {
  for (const auto &[name, known, writes, expected] : kCurrentCases) {
    EXPECT_EQ(values(ledger_of(writes).current_settled(habits_of(known))), expected) << name;
  }
}

TEST(Ledger, AllowsWhatStoodBeforeUntilTheNewOneHasBeenRead) {
  using Values = std::set<std::string>;
  const Habits habits =
      habits_of({{Q::second_value, A::replaces}, {Q::older_current, A::replaces}});
  Ledger ledger = ledger_of({{kHistory, 1, 1}, {kHistory, 2, 2}});
  EXPECT_EQ(values(ledger.pending(habits, kTime)), (Values{"", "1"}));
  ledger.mark_settled(kTime);
  EXPECT_EQ(values(ledger.pending(habits, kTime)), Values{}) << "it goes back";
  ledger.add(kHistory, 3, {kTime, 7, 3});
  EXPECT_EQ(values(ledger.pending(habits, kTime)), (Values{"2"}));
  EXPECT_EQ(values(ledger.settled(habits, kTime)), (Values{"3"}));
  EXPECT_EQ(values(ledger.pending(habits, kTime + 1)), (Values{""})) << "nothing was written there";

  Ledger current = ledger_of({{kCurrent, 1, 1}});
  EXPECT_EQ(values(current.current_pending(habits)), (Values{""}));
  current.mark_current_settled();
  EXPECT_EQ(values(current.current_pending(habits)), Values{});
  current.add(kCurrent, 2, {kTime + 9, 7, 2});
  EXPECT_EQ(values(current.current_pending(habits)), (Values{"1"}));
}

TEST(Ledger, ListsTheTimesOfARangeUpToTheLastThatThereIs) {
  const Ledger ledger = ledger_of({{kHistory, 1, 1, false, INT32_MIN},
                                   {kCache, 2, 2, false, -1},
                                   {kHistory, 3, 3, true, 50},
                                   {kHistory, 4, 4, false, 50},
                                   {kHistory, 5, 5, false, INT32_MAX}});
  using Times = std::vector<int32_t>;
  EXPECT_EQ(ledger.times(INT32_MIN, int64_t{INT32_MAX} + 1), (Times{INT32_MIN, -1, 50, INT32_MAX}));
  EXPECT_EQ(ledger.times(-1, INT32_MAX), (Times{-1, 50}));
  EXPECT_EQ(ledger.times(0, 50), Times{});
}

TEST(Alternatives, AreAlikeWhateverTheOrderOfTheirRowsAndOfNoNumber) {
  const Sample one{kTime, 7, 1}, two{kTime, 7, 2}, other_status{kTime, 8, 1}, nan{kTime, 7, NAN};
  EXPECT_TRUE(among({{one}, {one, two}}, {two, one}));
  EXPECT_TRUE(same(Alternative{nan}, Alternative{nan}));
  EXPECT_FALSE(among({{one, two}}, {one}));
  EXPECT_FALSE(among({{one, two}}, {one, one}));
  EXPECT_FALSE(among({{one}}, {other_status}));
  EXPECT_FALSE(among({}, {}));
  EXPECT_TRUE(among({{}}, {}));
}

}  // namespace kelpcheck
