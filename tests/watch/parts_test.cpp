// What a watch is made of, without a server.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <set>

#include "fixture.h"
#include "report/watch_words.h"
#include "result/times.h"
#include "watch/journal.h"
#include "watch/judging.h"
#include "watch/names.h"
#include "watch/slices.h"
#include "watch/story.h"
#include "watch/values.h"

namespace kelpcheck::watch {

using kelptest::contents;
using kelptest::TempFolder;

namespace {

constexpr Outcome kAcknowledged = Outcome::acknowledged, kFailed = Outcome::failed,
                  kUnknown = Outcome::unknown, kSkipped = Outcome::skipped;

Steps steps_of(const std::vector<Steps::State> &states) {
  Steps steps;
  for (size_t i = 0; i < states.size(); ++i) steps.set(static_cast<int64_t>(i), states[i]);
  return steps;
}

Ranges range(int64_t first, int64_t last) { return Ranges({{first, last}}); }

const Grid kGrid{1000, 2};
constexpr uint64_t kSeed = 12345;

Row row_of(int64_t point, int64_t step) {
  const Written written = written_value(kSeed, point, step);
  return {kGrid.time_of(step), written.status, written.value};
}

// Observes points that all have the rows of these steps.
Observation observed(const Ranges &points, const std::vector<int64_t> &steps) {
  Observation observation;
  for (const Span &part : points.parts()) {
    for (int64_t point = part.first; point <= part.last; ++point) {
      std::vector<Row> rows;
      for (const int64_t step : steps) rows.push_back(row_of(point, step));
      observation.add(point, look_at(kGrid, kSeed, point, "", rows, observation.examples));
    }
  }
  return observation;
}

}  // namespace

TEST(Times, DurationsAndDatesAreWhatTheySay) {
  const std::pair<std::string, double> durations[] = {
      {"90", 90}, {"1.5h", 5400}, {"300ms", 0.3}, {"2d", 172800}, {"0", 0}, {"7m", 420}};
  for (const auto &[words, seconds] : durations) EXPECT_EQ(parse_duration(words), seconds) << words;
  for (const char *wrong : {"", "s", "-1s", "1w", "1 s", "nan", "inf", "1e9d", "0x10", "5mm"}) {
    EXPECT_THROW(parse_duration(wrong), std::invalid_argument) << wrong;
  }
  const std::pair<std::string, int64_t> dates[] = {{"20120831170000", 1346432400},
                                                   {"2012-08-31T17:00:00Z", 1346432400},
                                                   {"2012-08-31 17:00", 1346432400},
                                                   {"2012-08-31T19:00:00+02:00", 1346432400},
                                                   {"2012-08-31T12:30:00.250-0430", 1346432400},
                                                   {"1970-01-01", 0}};
  for (const auto &[words, time] : dates) EXPECT_EQ(parse_date(words), time) << words;
  for (const char *wrong : {"2012", "20120931170000", "2012-02-30", "2012-08-31T25:00:00Z",
                            "2012-08-31T17:00:00X", "9999-01-01", "201208311700001"}) {
    EXPECT_THROW(parse_date(wrong), std::invalid_argument) << wrong;
  }
  EXPECT_EQ(iso_text(1346432400), "2012-08-31T17:00:00Z");
  EXPECT_EQ(iso_text(1346432400.0625), "2012-08-31T17:00:00.063Z");
}

TEST(Values, DifferBetweenNeighboursAndFitTheirKinds) {
  std::set<int16_t> statuses;
  for (int64_t point = 0; point < 8; ++point) {
    for (int64_t step = 0; step < 2000; ++step) {
      const Written one = written_value(kSeed, point, step);
      EXPECT_NE(one.value, written_value(kSeed, point, step + 1).value);
      const double kept = point % 4 == 1   ? static_cast<float>(one.value)
                          : point % 4 == 3 ? static_cast<int16_t>(one.value)
                                           : one.value;
      EXPECT_EQ(one.value, kept);
      statuses.insert(one.status);
    }
  }
  EXPECT_TRUE(statuses.count(0) && statuses.count(1) && statuses.count(-3));
  EXPECT_GT(statuses.size(), 3000u);
  // Journals outlive programs.
  EXPECT_EQ(written_value(1, 0, 0).value, written_value(1, 0, int64_t{1} << 52).value);
}

TEST(TimeBase, AgreesWithTheServersWholeSecondsAndStays) {
  const int64_t second = 1'000'000'000;
  const struct {
    double host;
    int64_t server;
    double offset;
  } cases[] = {{100.7, 100, 0}, {100.7, 101, 1}, {100.2, 99, -1}, {100.5, 3700, 3600}};
  for (const auto &[host, server, offset] : cases) {
    const TimeBase base(5 * second, host, server);
    EXPECT_EQ(base.offset(), offset);
    EXPECT_EQ(std::floor(base.moment(5 * second)), server);
    EXPECT_EQ(base.monotonic_ns(base.moment(7 * second)), 7 * second);
    EXPECT_EQ(base.drift(6 * second, server + 1), 0);
    EXPECT_EQ(base.drift(6 * second, server - 30 + 1), -30);
  }
}

TEST(Sorting, CountsEveryValueOnce) {
  const Ranges points = range(0, 9);
  const struct {
    const char *name;
    Steps::State state;
    std::vector<int64_t> rows;  // of step 0
    Samples want;
  } cases[] = {{"present", {kAcknowledged, {}}, {0}, {10, 10, 0, 0, 0, 0}},
               {"lost", {kAcknowledged, {}}, {}, {10, 0, 10, 0, 0, 0}},
               {"some entries failed", {kAcknowledged, range(2, 4)}, {0}, {7, 7, 0, 0, 0, 3}},
               {"recovered", {kFailed, {}}, {0}, {0, 0, 0, 0, 0, 10}},
               {"unknown and there", {kUnknown, {}}, {0}, {0, 0, 0, 0, 0, 10}},
               {"failed and not there", {kFailed, {}}, {}, {0, 0, 0, 0, 0, 0}},
               {"never called and there", {kSkipped, {}}, {0}, {0, 0, 0, 0, 10, 0}},
               {"behind all steps", {kAcknowledged, {}}, {0, 5}, {10, 10, 0, 0, 10, 0}}};
  for (const auto &[name, state, rows, want] : cases) {
    const Samples got = sort_values(observed(points, rows), steps_of({state}), {0, 0}).samples;
    EXPECT_TRUE(got.acknowledged == want.acknowledged && got.present == want.present &&
                got.lost == want.lost && got.foreign == want.foreign &&
                got.recovered == want.recovered)
        << name;
  }
  std::vector<Row> rows{row_of(0, 0), row_of(0, 0), row_of(0, 1)};
  rows[2].status ^= 1;
  rows.push_back({kGrid.first + 1, 0, 0});
  Observation odd;
  odd.add(0, look_at(kGrid, kSeed, 0, "P", rows, odd.examples));
  const Samples got =
      sort_values(odd, steps_of({{kAcknowledged, {}}, {kAcknowledged, {}}}), {0, 1}).samples;
  EXPECT_EQ(got.present, 1);
  EXPECT_EQ(got.changed, 1);
  EXPECT_EQ(got.foreign, 1);
  EXPECT_EQ(odd.examples.size(), 2u);
}

TEST(Sorting, PutsLossesTogetherAsPeopleReadThem) {
  const Steps steps = steps_of({{kAcknowledged, {}},
                                {kAcknowledged, {}},
                                {kAcknowledged, {}},
                                {kFailed, {}},
                                {kAcknowledged, {}}});
  Patches losses;
  losses.add({{0, 0}, range(0, 4)});
  losses.add({{0, 0}, range(5, 9)});
  losses.add({{1, 2}, range(0, 9)});
  std::vector<Patch> patches = losses.patches();
  ASSERT_EQ(patches.size(), 1u);
  EXPECT_EQ(patches[0].steps, (Span{0, 2}));
  EXPECT_EQ(patches[0].values, 30);
  EXPECT_EQ(gone_before(losses, steps, 10), 2);
  std::vector<Outage> outages(1);
  outages[0].begin = static_cast<double>(kGrid.time_of(3));
  relate(patches, losses.steps(), steps, kGrid, outages);
  EXPECT_EQ(outages[0].lost_seconds, 6);
  EXPECT_EQ(patches[0].before_outage, 2);
  losses.add({{4, 4}, range(3, 3)});
  EXPECT_EQ(losses.patches().size(), 2u);
  EXPECT_EQ(gone_before(losses, steps, 10), -1);
}

TEST(Words, NameAllPointsOrTheFirstRangesOfThem) {
  WatchReport report;
  report.points = 20;
  const WatchWords words(report);
  EXPECT_EQ(words.points(range(0, 19)), "all 20 points");
  EXPECT_EQ(words.points(range(4, 4)), "1 point (P00005)");
  const Ranges four({{0, 1}, {4, 4}, {6, 6}, {8, 8}}),
      five({{0, 1}, {4, 4}, {6, 6}, {8, 8}, {10, 12}});
  EXPECT_EQ(words.points(four), "5 points (P00001 to P00002, P00005, P00007, P00009)");
  EXPECT_EQ(words.points(five), "8 points (P00001 to P00002, P00005, P00007, P00009, ...)");
}

TEST(Story, TellsOutagesAndStallsFromTheLines) {
  std::vector<std::string> told;
  Story story([&](const Notice &notice) { told.push_back(notice.words); });
  const std::vector<JournalLine> lines{
      WatchBegan{1000, 0},
      StepBegan{0, 1000},
      StepEnded{0, 1000, 2.5, kAcknowledged, "", {}, ""},
      StepSkipped{1, true},
      StepBegan{2, 1002.5},
      StepEnded{2, 1002.5, 0.1, kFailed, "-2", {}, "server closed the connection\n"},
      SessionRefused{1002.7, "no session", ""},
      StepSkipped{3, false},
      SessionMade{1003.8, -30},
      StepBegan{4, 1004},
      StepEnded{4, 1004, 0.5, kAcknowledged, "", range(0, 1), ""},
      StepBegan{5, 1005},
      Resumed{1100},
      StepBegan{100, 1100},
      StepEnded{100, 1100, 0.1, kAcknowledged, "", {}, ""},
      SessionRefused{1101, "hung", ""},
      WatchEnded{1103, "signal 2"}};
  for (const JournalLine &line : lines) story.take(parse_line(to_json(line)));
  const StepCounts counts = story.steps().counts();
  EXPECT_EQ(counts.acknowledged, 3);
  EXPECT_EQ(counts.failed, 1);
  EXPECT_EQ(counts.unknown, 1);
  EXPECT_EQ(counts.skipped, 2);
  EXPECT_EQ(counts.not_watched, 94);
  ASSERT_EQ(story.outages().size(), 2u);
  const Outage &first = story.outages()[0];
  EXPECT_EQ(first.begin, 1002.5);
  EXPECT_NEAR(first.seconds, 2, 1e-6);
  EXPECT_TRUE(first.over);
  EXPECT_EQ(first.failed_calls, 1);
  EXPECT_EQ(first.codes, (std::vector<std::string>{"-2", "no session"}));
  EXPECT_FALSE(story.outages()[1].over);
  EXPECT_NEAR(story.outages()[1].seconds, 2, 1e-6);
  ASSERT_EQ(story.stalls().size(), 1u);
  EXPECT_EQ(story.stalls()[0].skipped, 1);
  EXPECT_EQ(story.steps().outcome(4, 1), kFailed);
  ASSERT_EQ(told.size(), 5u);
  EXPECT_EQ(told[1], "outage: kelp2_write_value gave -2 (server closed the connection)");
  EXPECT_EQ(told[3], "back after 2.0 s, 2 steps not written");
  EXPECT_THROW(story.take(StepSkipped{7, false}), std::logic_error);
}

TEST(JournalFile, SurvivesATornEndAFullDiskAndTellsDamage) {
  const TempFolder folder;
  const std::string path = folder.path("journal");
  JournalHead head;
  head.points = 3;
  const auto read = [&](int64_t &steps) {
    const Journal journal(path, Journal::Use::read, 0);
    steps = 0;
    return journal.read([](const JournalHead &) {}, [&](const JournalLine &) { ++steps; }, [] {});
  };
  int64_t steps = 0;
  {
    Journal journal(path, Journal::Use::write, 0);
    EXPECT_THROW(Journal(path, Journal::Use::write, 0), JournalProblem);
    ASSERT_TRUE(journal.append(to_json(head)));
    ASSERT_TRUE(journal.append(to_json(StepBegan{0, 1})));
    // A disk that is full takes a part of a line, and the whole of it once there is room.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit full = before;
    full.rlim_cur = contents(path).size() + 10;
    setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_FALSE(journal.append(to_json(StepBegan{1, 2})));
    const std::string meanwhile = contents(path);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_TRUE(meanwhile.ends_with("}\n"));
    EXPECT_TRUE(journal.flush());
  }
  EXPECT_EQ(read(steps).broken_lines, 0);
  EXPECT_EQ(steps, 2);
  std::ofstream(path, std::ios::app) << "{\"done\":1,\"at\":2" << std::string(30, '\0');
  const JournalContents torn = read(steps);
  EXPECT_EQ(torn.broken_lines, 0);
  EXPECT_EQ(steps, 2);
  {
    Journal journal(path, Journal::Use::write, 0);
    journal.cut(torn.sound_bytes);
    ASSERT_TRUE(journal.append("garbage"));
    ASSERT_TRUE(journal.append(to_json(StepSkipped{2, false})));
  }
  const JournalContents damaged = read(steps);
  EXPECT_EQ(damaged.broken_lines, 1);
  EXPECT_EQ(damaged.first_broken, 4);
  EXPECT_EQ(steps, 3);
}

TEST(Judging, KnowsStaleValuesForeignOnesAndHolesThatStay) {
  Judge judge(kGrid, kSeed, 5, [](int64_t point) { return std::to_string(point); });
  const Steps steps = steps_of({{kAcknowledged, {}},
                                {kFailed, {}},
                                {kAcknowledged, range(2, 2)},
                                {kSkipped, {}},
                                {kAcknowledged, {}}});
  judge.acknowledged(0, 10);
  judge.acknowledged(2, 14);
  judge.acknowledged(4, 18);
  const auto at = [](int64_t step) { return CurrentValues{{{range(0, 2), step}}, {}}; };
  EXPECT_EQ(judge.stale(at(kNoValue), steps, 14.9).values, 0);
  EXPECT_EQ(judge.stale(at(kNoValue), steps, 15).values, 3);
  EXPECT_EQ(judge.stale(at(0), steps, 19).values, 2);  // the entry of point 2 failed
  EXPECT_EQ(judge.stale(at(1), steps, 19).values, 0);  // nobody knows when it takes effect
  EXPECT_EQ(judge.stale(at(4), steps, 30).values, 0);
  EXPECT_EQ(judge.foreign(at(3), steps).values, 3);
  EXPECT_EQ(judge.foreign(at(kForeignValue), steps).values, 3);
  EXPECT_EQ(judge.foreign(at(1), steps).values, 0);

  const Observation hole = observed(range(0, 2), {0, 4}), whole = observed(range(0, 2), {0, 2, 4});
  EXPECT_EQ(judge.holes(hole, steps, {0, 4}, 30).values, 0);
  EXPECT_EQ(judge.oldest_hole(), 2);
  EXPECT_EQ(judge.holes(hole, steps, {0, 4}, 34.9).values, 0);
  EXPECT_EQ(judge.holes(hole, steps, {0, 4}, 35).values, 2);
  EXPECT_EQ(judge.holes(hole, steps, {0, 4}, 40).values, 0);  // told once
  EXPECT_EQ(judge.holes(whole, steps, {0, 4}, 45).values, 0);
  EXPECT_EQ(judge.oldest_hole(), -1);
}

TEST(Slicing, CoversEverythingOnceWhateverIsRefused) {
  for (const auto &[points, count] : {std::pair{range(0, 2499), int64_t{12}},
                                      {Ranges({{3, 3}, {7, 9}, {20, 20}}), int64_t{25'000}}}) {
    Slices slices(points, {0, count - 1}, kGrid, true);
    int64_t values = 0, beside = 0, number = 0;
    while (const auto slice = slices.next()) {
      if (++number % 3 == 0 && slices.halve(*slice)) continue;
      EXPECT_LE(slice->points.count() * slice->steps.size(), Slices::kRows);
      values += slice->points.count() * slice->steps.size();
      if (slice->margin) beside += slice->points.count();
      if (slice->margin) continue;
      EXPECT_EQ(slice->begin, kGrid.time_of(slice->steps.first));
      EXPECT_EQ(slice->end, kGrid.time_of(slice->steps.last + 1));
    }
    EXPECT_EQ(values, points.count() * count);
    EXPECT_EQ(beside, points.count() * 2);
    EXPECT_EQ(slices.done_rows(), slices.all_rows());
  }
}

TEST(Names, TellWhoseATreeIs) {
  const WatchNames names("W3", "KELPWATCH", 2001);
  EXPECT_EQ(names.nodes(), 3);
  EXPECT_EQ(names.full_point(1000), "W3.KELPWATCH02.P01001");
  EXPECT_EQ(names.points_of(2).size(), 1);
  EXPECT_EQ(seed_of_mark(watch_mark(77, 1346432400)), 77u);
  EXPECT_EQ(watch_mark(77, 1346432400),
            "kelpcheck watch, seed 77, first step 2012-08-31T17:00:00Z");
  EXPECT_EQ(seed_of_mark("kelpcheck watch"), std::nullopt);
  EXPECT_EQ(seed_of_mark("somebody's node"), std::nullopt);
}

}  // namespace kelpcheck::watch
