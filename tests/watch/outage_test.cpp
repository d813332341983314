// A watch over a library that does one thing: what an honest server may do in an outage is PASSED
// and reported, what none may do is FAILED, with exact numbers.
#include <pugixml.hpp>

#include "fixture.h"
#include "watch/journal_line.h"
#include "watch/values.h"

namespace kelptest {

namespace {

struct Case {
  std::string fault;
  int status = kPassed;
  int outages = 0, stalls = 0;
  // Values; of lost and changed all that are not named are 0.
  int64_t lost = 0, changed = 0, foreign = 0, recovered = 0;
  int64_t not_acknowledged = 0;  // entries of acknowledged calls
  std::string words = {};        // on the terminal
};

const Case kHonest[] = {
    {"refuses sessions", kPassed, 1, 0, 0, 0, 0, 0, 0, "outage: kelp2_write_value gave -2"},
    {"hangs", kPassed, 1, 0, 0, 0, 0, 0, 0, "outage: kelp2_write_value did not return"},
    {"aborts", kPassed, 1, 0, 0, 0, 0, 0, 0, "crashed in kelp2_write_value"},
    {"ends the process", kPassed, 1, 0, 0, 0, 0, 0, 0, "the process ended itself"},
    {"fails, stored", kPassed, 1, 0, 0, 0, 0, 2 * kPoints, 0, "gave -3"},
    {"fails, not stored", kPassed, 1, 0, 0, 0, 0, 0, 0, "back after"},
    {"300 ms late"},
    {"few rows a call"},
    {"slow", kPassed, 0, 1, 0, 0, 0, 0, 0, "stall: a call took 2.3 s"},
    {"entries fail", kPassed, 0, 0, 0, 0, 0, 0, 4},
};

const Case kFaulty[] = {
    {"last steps before an outage", kFailed, 1, 0, 2 * kPoints, 0, 0, 0, 0,
     "all 12 points, 24 values, acknowledged 2 to 1 s before the outage"},
    {"every step before an outage", kFailed, 1, 0, 5 * kPoints, 0, 0, 0, 0, "60 values"},
    {"five points lose a row", kFailed, 0, 0, 5, 0, 0, 0, 0,
     "5 points (P00003 to P00007), 5 values"},
    {"acknowledged for nothing", kFailed, 0, 0, kPoints},
    {"entries swallowed", kFailed, 0, 0, 4, 0, 0, 0, 0, "2 points (P00006 to P00007), 4 values"},
    {"a row changed later", kFailed, 0, 0, 0, 1},
    {"foreign rows", kFailed, 0, 0, 0, 0, 2},
    {"current values frozen", kFailed, 0, 0, 0, 0, 0, 0, 0, "stale"},
    {"rows vanish later", kFailed, 0, 0, kPoints},
};

struct WatchRun {
  Case what;
  WatchFolder folder;
  Process process;

  explicit WatchRun(const Case &what_, const Words &options = {"--for", "9s"})
      : what(what_), process(command(options), folder.with_fault(what_.fault)) {}

  // A call that hangs is given up after a while that a test has.
  Words command(Words options) const {
    if (what.fault == "hangs") options.insert(options.end(), {"--timeout", "2.5"});
    return folder.watch(options);
  }

  // The report, once it has ended as it should.
  json ended(int status) {
    EXPECT_EQ(process.wait(120s), status)
        << what.fault << process.output() << process.errors() << contents(folder.journal());
    return folder.report();
  }

  void expect_all() {
    const json report = ended(what.status);
    const json &samples = report["samples"];
    SCOPED_TRACE(what.fault + process.output());
    const int64_t acknowledged = report["steps"]["acknowledged"].get<int64_t>() * kPoints;
    EXPECT_EQ(samples["acknowledged"], acknowledged - what.not_acknowledged);
    EXPECT_EQ(samples["lost"], what.lost);
    EXPECT_EQ(samples["changed"], what.changed);
    EXPECT_EQ(samples["foreign"], what.foreign);
    EXPECT_EQ(samples["recovered"], what.recovered);
    EXPECT_EQ(samples["present"], acknowledged - what.not_acknowledged - what.lost - what.changed);
    EXPECT_EQ(report["outages"].size(), what.outages);
    EXPECT_EQ(report["stalls"].size(), what.stalls);
    EXPECT_NE(process.output().find(what.words), std::string::npos);
  }
};

template <size_t count>
void expect_each(const Case (&cases)[count]) {
  std::vector<std::unique_ptr<WatchRun>> runs;
  for (const Case &one : cases) runs.push_back(std::make_unique<WatchRun>(one));
  for (const auto &run : runs) run->expect_all();
}

// What the steps acknowledged after an outage hold that is not status 0.
int64_t statuses_after_outage(const std::string &journal) {
  std::ifstream file(journal);
  std::string line;
  std::getline(file, line);
  const uint64_t seed = kelpcheck::watch::parse_head(line).seed;
  bool out = false;
  int64_t count = 0;
  while (std::getline(file, line)) {
    const auto parsed = kelpcheck::watch::parse_line(line);
    const auto *done = std::get_if<kelpcheck::watch::StepEnded>(&parsed);
    if (done == nullptr) continue;
    const bool acknowledged = done->outcome == kelpcheck::watch::Outcome::acknowledged;
    out = out || !acknowledged;
    for (int point = 0; out && acknowledged && point < kPoints; ++point) {
      count += kelpcheck::watch::written_value(seed, point, done->step).status != 0;
    }
  }
  return count;
}

}  // namespace

TEST(Honest, WhateverAServerMayDoPassesAndIsTold) { expect_each(kHonest); }

TEST(Faulty, WhatNoServerMayDoFailsWithExactNumbers) { expect_each(kFaulty); }

TEST(Faulty, WhatDependsOnTheRunFailsWithExactNumbersToo) {
  WatchRun statuses({"statuses gone after a reconnection"}), late({"rows a second late"}),
      session({"rows gone with their session"});
  const json gone = statuses.ended(kFailed);
  const int64_t expected = statuses_after_outage(statuses.folder.journal());
  EXPECT_GT(expected, 0);
  EXPECT_EQ(gone["samples"]["changed"], expected);
  EXPECT_EQ(gone["samples"]["lost"], 0);

  const json shifted = late.ended(kFailed);
  const int64_t steps = shifted["steps"]["acknowledged"];
  EXPECT_EQ(shifted["samples"]["lost"], kPoints);
  EXPECT_EQ(shifted["samples"]["changed"], (steps - 1) * kPoints);
  EXPECT_EQ(shifted["samples"]["foreign"], kPoints);
  EXPECT_GT(shifted["foreign_reads"], 0);

  const json closed = session.ended(kFailed);
  EXPECT_EQ(closed["samples"]["lost"],
            (closed["steps"]["acknowledged"].get<int64_t>() - 3) * kPoints);
}

TEST(Unknown, AServerThatKeepsNoHistoryOrRefusesTheFirstCallIsNotJudged) {
  WatchRun no_history({"no history"}, {"--for", "60s"}), refused({"refuses many values"});
  const json report = no_history.ended(kUnknown);
  EXPECT_EQ(report["verdict"], "unknown");
  EXPECT_LT(report["steps"]["acknowledged"], 30);
  EXPECT_NE(no_history.process.output().find("does not keep real-time values"), std::string::npos);
  EXPECT_EQ(refused.process.wait(60s), kRefused);
  EXPECT_NE(refused.process.errors().find("refuses 12 values a call (kelp2_write_value: -3); try "
                                          "--points 6"),
            std::string::npos)
      << refused.process.errors();
}

TEST(Reports, TellTheSameInEveryForm) {
  WatchFolder folder;
  Process watch(folder.watch({"--for", "9s", "--html", folder.path("html"), "--junit",
                              folder.path("junit"), "-Psecret word"}),
                folder.with_fault("last steps before an outage"));
  EXPECT_EQ(watch.wait(120s), kFailed) << watch.errors();
  const json report = folder.report();
  EXPECT_EQ(report["mode"], "watch");
  EXPECT_EQ(report["form"], "kelpcheck");
  EXPECT_EQ(report["outages"][0]["lost_seconds"], 2);
  EXPECT_EQ(report["outages"][0]["codes"][0], -2);
  pugi::xml_document junit, html;
  ASSERT_TRUE(junit.load_file(folder.path("junit").c_str()));
  const char *lost = "//testcase[@name='nothing acknowledged is lost']/failure";
  EXPECT_NE(junit.select_node(lost), pugi::xpath_node());
  EXPECT_GE(junit.child("testsuites").attribute("failures").as_int(), 1);
  ASSERT_TRUE(html.load_file(folder.path("html").c_str()));
  EXPECT_NE(html.select_node("//svg"), pugi::xpath_node());
  for (const char *form : {"json", "junit", "html", "journal"}) {
    EXPECT_EQ(contents(folder.path(form)).find("secret word"), std::string::npos) << form;
  }
}

}  // namespace kelptest
