// What a load decides by: its schedule, its rows, the judgement on a stage and the search.
#include <gtest/gtest.h>

#include <numeric>
#include <set>

#include "load/judge.h"
#include "load/local.h"
#include "load/schedule.h"
#include "load/search.h"
#include "load/work.h"

namespace kelpcheck {

constexpr int64_t kMillisecond = 1'000'000;

TEST(Schedule, EveryCallBelongsToOneSessionAndIsDueAtAnEvenDistance) {
  const Schedule schedule{5 * kSecond, 2.5 * kMillisecond, 1000, 3};
  std::set<int64_t> calls;
  for (int32_t session = 0; session < 3; ++session) {
    for (int64_t nth = 0; nth < schedule.calls_of(session); ++nth) {
      calls.insert(schedule.number(session, nth));
    }
  }
  EXPECT_EQ(calls.size(), 1000u);
  EXPECT_EQ(*calls.rbegin(), 999);
  EXPECT_EQ(schedule.at(400) - schedule.at(0), kSecond);
  EXPECT_EQ(schedule.due(schedule.begin, schedule.begin + kSecond), 400);
  EXPECT_EQ(schedule.due(schedule.begin + kSecond, schedule.begin + 9 * kSecond), 600);
}

TEST(Schedule, AStageLastsForAHundredCallsThatCountWithinItsBounds) {
  EXPECT_EQ(stage_seconds(1000, 1), 3);
  EXPECT_EQ(stage_seconds(20, 1), 6);
  EXPECT_EQ(stage_seconds(0.5, 1), 20);
}

TEST(Rows, OfAPointHaveASecondOfTheirOwnEach) {
  for (const Doing doing : {Doing::write, Doing::history, Doing::snap, Doing::mixed}) {
    LoadOptions options;
    options.doing = doing;
    options.points = 7;
    options.rows = 5;
    const Work work(options);
    std::set<std::pair<int32_t, int64_t>> seen;
    constexpr int64_t writes = 100;
    for (int64_t write = 0; write < writes; ++write) {
      const RowRange range = work.range(write);
      const bool one_point = doing == Doing::history;
      for (int32_t point = 0; point < (one_point ? 1 : options.points); ++point) {
        for (int64_t second = range.first; second < range.first + range.count; ++second) {
          const int32_t of = one_point ? work.point(write) : point;
          EXPECT_TRUE(seen.insert({of, second}).second) << name_of(doing) << " " << write;
          EXPECT_GE(second, work.filled());
          EXPECT_LT(second, work.seconds_needed(writes));
        }
      }
    }
  }
}

TEST(Rows, OfAMixAreThoseOfItsCalls) {
  LoadOptions options;
  options.doing = Doing::mixed;
  options.points = 300;
  options.rows = 50;
  const Work work(options);
  int64_t rows = 0, writes = 0;
  for (int64_t call = 0; call < 1000; ++call) {
    const CallKind kind = work.kind(3, call);
    rows += work.rows(kind);
    writes += kind == CallKind::write ? 1 : 0;
  }
  EXPECT_DOUBLE_EQ(static_cast<double>(rows) / 1000, work.mean_rows());
  EXPECT_GE(work.writes_among(1000), writes);
}

TEST(Rows, DifferFromTheirNeighboursAndFitA32BitFloat) {
  std::set<double> values;
  for (int64_t second = 0; second < 1000; ++second) {
    const double value = load_value(1, 2, second).value;
    EXPECT_EQ(static_cast<double>(static_cast<float>(value)), value);
    values.insert(value);
  }
  EXPECT_GT(values.size(), 990u);
  EXPECT_FALSE(load_value(1, 2, 3) == load_value(2, 2, 3));
  EXPECT_FALSE(load_value(1, 2, 3) == load_value(1, 3, 3));
}

TEST(Backlog, GrowsOnlyWhereCallsWaitLongerAllTheTime) {
  const auto grows = [](const std::vector<int64_t> &milliseconds) {
    std::vector<int64_t> late;
    for (const int64_t ms : milliseconds) late.push_back(ms * kMillisecond);
    return backlog_grows(late, kSecond / 8);
  };
  std::vector<int64_t> steady(16, 3), growing(16), hiccup(16, 0), slowly(16);
  std::iota(growing.begin(), growing.end(), 5);
  for (size_t i = 0; i < 16; ++i) slowly[i] = 3 + static_cast<int64_t>(i / 4);
  hiccup[8] = 400;
  hiccup[9] = 200;
  EXPECT_FALSE(grows(steady));
  EXPECT_FALSE(grows(hiccup));
  EXPECT_FALSE(grows(slowly)) << "less than 1 % of the time";
  for (int64_t &late : growing) late *= 10;
  EXPECT_TRUE(grows(growing));
  EXPECT_FALSE(grows({1, 100, 1000})) << "too few to tell";
}

// A stage of 10 s whose calls all took that long, in milliseconds.
void fill(StageBoard &board, int64_t latency, int64_t in_library, int64_t waited, int64_t delayed) {
  board.order.schedule = {0, 10.0 * kMillisecond, 1000, 1};
  for (int i = 0; i < 1000; ++i) board.latency.add(latency * kMillisecond, 100);
  board.calls = 1000;
  board.last_end = 10 * kSecond;
  board.wall = 10 * kSecond;
  board.in_library = in_library * kMillisecond;
  board.waited = waited * kMillisecond;
  board.waited_for_processor = delayed * kMillisecond;
  board.on_processor = (10'000 - waited - delayed) * kMillisecond;
}

TEST(Local, AServerOnThisMachineIsKnownByItsHost) {
  for (const char *host : {"", "file:store", "/run/postgresql", "127.0.0.1", "127.9.9.9", "::1",
                           "localhost", "203.0.113.1,localhost"}) {
    EXPECT_TRUE(is_on_this_machine(host)) << host;
  }
  for (const char *host : {"203.0.113.1", "historian.example", "203.0.113.1,198.51.100.7"}) {
    EXPECT_FALSE(is_on_this_machine(host)) << host;
  }
}

TEST(Judgement, BlamesThisProgramOnlyForItsOwnTime) {
  const struct {
    const char *what;
    int64_t latency, in_library, waited, delayed;
    LimitedBy limit;
  } cases[] = {
      {"far below the limit", 5, 500, 9'400, 0, LimitedBy::none},
      {"the library takes the time", 500, 9'500, 0, 0, LimitedBy::server},
      {"the program takes the time", 500, 200, 0, 0, LimitedBy::client},
      {"both, half each", 500, 5'000, 0, 0, LimitedBy::client},
      {"others take nine tenths of the processor", 500, 9'500, 0, 9'000, LimitedBy::server},
      {"they do, and the program takes the rest", 500, 200, 0, 9'000, LimitedBy::client},
  };
  for (const auto &c : cases) {
    StageBoard board{};
    fill(board, c.latency, c.in_library, c.waited, c.delayed);
    StageSum sum(board.order);
    sum.add(board);
    const LoadStage stage = judge(sum, 10'000, 0.1, false);
    EXPECT_EQ(stage.limited_by, c.limit) << c.what;
    EXPECT_EQ(stage.kept_up, c.limit == LimitedBy::none) << c.what << ": " << stage.reason;
    EXPECT_NEAR(stage.achieved, 10'000, 1) << c.what;
  }
}

TEST(Judgement, BlamesThisProgramForLateStartsThatAreManyAndItsOwn) {
  const struct {
    const char *what;
    int64_t late_starts, delayed;
    LimitedBy limit;
  } cases[] = {
      {"a few late ones", 30, 0, LimitedBy::server},
      {"many late ones", 300, 0, LimitedBy::client},
      {"many, while others had the processor", 300, 200 * 60, LimitedBy::server},
  };
  for (const auto &c : cases) {
    StageBoard board{};
    fill(board, 500, 5'000, 4'500, c.delayed);
    board.wall = 100 * kSecond;
    for (int i = 0; i < 1000; ++i)
      board.late.add(i < c.late_starts ? 60 * kMillisecond : 1000, 100);
    StageSum sum(board.order);
    sum.add(board);
    EXPECT_EQ(judge(sum, 10'000, 0.1, false).limited_by, c.limit) << c.what;
  }
}

TEST(Judgement, FailedCallsAreNotKeptUpWith) {
  StageBoard board{};
  fill(board, 5, 500, 9'400, 0);
  board.failures = 1;
  StageSum sum(board.order);
  sum.add(board);
  const LoadStage stage = judge(sum, 10'000, 0.1, false);
  EXPECT_FALSE(stage.kept_up);
  EXPECT_EQ(stage.reason, "1 of 1000 calls failed");
  EXPECT_EQ(stage.limited_by, LimitedBy::server);
}

// A server with a limit, where `trouble` may spoil a stage that it would hold.
struct Simulated {
  double limit;
  std::function<bool(int stage)> trouble = [](int) { return false; };
  double ran_out = 1e18;
  int stages = 0;

  LoadLimit search(double rough) {
    return find_limit(rough, [&](double rate, const std::string &) -> std::optional<LoadStage> {
      if (rate > ran_out) return std::nullopt;
      LoadStage stage;
      stage.kept_up = rate <= limit && !trouble(stages);
      stage.overloaded = rate > limit;
      stage.limited_by = stage.kept_up ? LimitedBy::none : LimitedBy::server;
      stage.reason = stage.kept_up ? "" : "slow";
      ++stages;
      return stage;
    });
  }
};

TEST(Search, FindsTheLimitWhereverTheRoughMeasureWas) {
  for (const double limit : {0.7, 1.0, 50'000.0, 212'345.0, 9e7}) {
    for (const double error : {0.1, 0.5, 1.0, 1.7, 10.0, 100.0}) {
      Simulated server{limit};
      const LoadLimit found = server.search(limit * error);
      EXPECT_LE(found.rows_per_second, limit);
      EXPECT_GE(found.rows_per_second, limit / 1.051) << limit << " " << error;
      EXPECT_GT(found.beyond, limit);
      EXPECT_TRUE(found.confirmed);
      EXPECT_EQ(found.limited_by, LimitedBy::server);
      EXPECT_LT(server.stages, 20);
    }
  }
}

TEST(Search, IsNotMisledByOneBadStageInThree) {
  Simulated server{50'000, [](int stage) { return stage % 3 == 1; }};
  EXPECT_GE(server.search(50'000).rows_per_second, 50'000 / 1.051);
}

TEST(Search, StepsDownWhereTheLimitDoesNotHoldASecondTime) {
  bool tired = false;
  Simulated server{50'000};
  const LoadLimit found =
      find_limit(50'000, [&](double rate, const std::string &purpose) -> std::optional<LoadStage> {
        tired = tired || purpose == "confirmation";
        LoadStage stage;
        stage.kept_up = rate <= (tired ? 46'000 : 50'000);
        stage.overloaded = !stage.kept_up;
        return stage;
      });
  EXPECT_TRUE(found.confirmed);
  EXPECT_LE(found.rows_per_second, 46'000);
  EXPECT_GE(found.rows_per_second, 46'000 / 1.11);
}

TEST(Search, EndsWhereNoStageCanBeRunOrNoneHolds) {
  Simulated short_of_seconds{1e9};
  short_of_seconds.ran_out = 30'000;
  const LoadLimit found = short_of_seconds.search(40'000);
  EXPECT_EQ(found.rows_per_second, 20'000);
  EXPECT_EQ(found.limited_by, LimitedBy::none);
  EXPECT_FALSE(found.confirmed);
  Simulated broken{0};
  EXPECT_EQ(broken.search(40'000).rows_per_second, 0);
  EXPECT_LT(broken.stages, 30);
}

TEST(Search, GoesNoFurtherDownWhereEveryCallFailsTwice) {
  int stages = 0;
  const LoadLimit found = find_limit(40'000, [&](double, const std::string &) {
    LoadStage stage;
    stage.calls = stage.failures = 100;
    stage.limited_by = LimitedBy::server;
    stage.reason = "100 of 100 calls failed";
    ++stages;
    return std::optional<LoadStage>(stage);
  });
  EXPECT_EQ(stages, 2);
  EXPECT_EQ(found.rows_per_second, 0);
  EXPECT_EQ(found.reason, "100 of 100 calls failed");
}

}  // namespace kelpcheck
