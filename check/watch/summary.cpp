#include "watch/summary.h"

#include "report/watch_words.h"
#include "result/text.h"
#include "watch/values.h"

namespace kelpcheck::watch {

namespace {

void add_failures(WatchReport &report, const Circumstances &c) {
  auto &reasons = report.reasons;
  const Samples &samples = report.samples;
  const std::string of = " of " + counted(samples.acknowledged, "acknowledged value");
  if (c.tree_missing) reasons.push_back("the tree is not there: is this the right server?");
  if (samples.lost > 0) {
    reasons.push_back(with_thousands(samples.lost) + of + (samples.lost == 1 ? " is" : " are") +
                      " lost");
  }
  if (samples.changed > 0) {
    reasons.push_back(with_thousands(samples.changed) + of +
                      (samples.changed == 1 ? " is" : " are") + " changed");
  }
  if (samples.foreign > 0) {
    reasons.push_back(counted(samples.foreign, "row") + " in history that no step wrote");
  }
  if (report.reader.stale > 0) {
    reasons.push_back(counted(report.reader.stale, "stale value") + " seen during the watch");
  }
  if (report.reader.foreign > 0) {
    reasons.push_back(counted(report.reader.foreign, "current value") +
                      " that no step wrote, seen during the watch");
  }
  if (report.reader.holes > 0) {
    reasons.push_back(counted(report.reader.holes, "hole") +
                      " in history that stayed, seen during the watch");
  }
}

void add_doubts(WatchReport &report, const Circumstances &c) {
  auto &reasons = report.reasons;
  if (c.tree_foreign) {
    reasons.push_back(
        "the tree is not the one of this journal: it belongs to another watch or to somebody else");
  }
  if (report.steps.acknowledged == 0) reasons.push_back("nothing was acknowledged");
  if (!c.history_kept.value_or(true)) {
    reasons.push_back("this server does not keep real-time values as history");
  }
  if (!c.obstacle.empty()) reasons.push_back("history was not read to its end: " + c.obstacle);
  if (c.broken_lines > 0) {
    reasons.push_back("the journal is damaged: " + counted(c.broken_lines, "line") +
                      " cannot be read");
  }
  if (!report.reader.succeeded) reasons.push_back("the reader never succeeded during the watch");
}

}  // namespace

void give_verdict(WatchReport &report, const Circumstances &circumstances) {
  Circumstances c = circumstances;
  const Samples &samples = report.samples;
  const bool nothing_there = samples.present + samples.changed + samples.foreign == 0;
  const bool watch_was_short = !c.history_kept && !c.tree_missing;
  if (watch_was_short && report.verified && samples.lost > 0 && nothing_there) {
    // Nobody has ever seen a row: the server may be one that keeps none.
    c.history_kept = false;
    report.samples.lost = 0;
    report.samples.acknowledged = 0;
    report.losses.clear();
  }
  add_failures(report, c);
  const bool failed = !report.reasons.empty();
  add_doubts(report, c);
  const bool doubtful = !failed && !report.reasons.empty();
  report.verdict = WatchVerdict::passed;
  if (doubtful) report.verdict = WatchVerdict::unknown;
  if (failed) report.verdict = WatchVerdict::failed;
  if (report.interrupted != 0) report.verdict = WatchVerdict::unknown;
  if (!c.until.empty()) report.remarks.push_back("nothing later than " + c.until + " was judged");
  if (report.share < 1) {
    report.remarks.push_back(text("judged by ", with_thousands(report.judged_points), " of ",
                                  counted(report.points, "point"), ", which the seed chose"));
  }
}

void tell_story(WatchReport &report, const JournalHead &head, const Story &story) {
  report.points = head.points;
  report.every = head.every;
  report.first_time = story.begun() ? story.begun()->first : 0;
  report.steps = story.steps().counts();
  report.steps_in_all = story.steps().end();
  report.typical_write = story.typical_write();
  report.longest_write = story.longest_write();
  report.reader = story.reader();
  report.outages = story.outages();
  report.reader_outages = story.reader_outages();
  report.stalls = story.stalls();
  report.line = story.line();
  if (story.resumptions() > 0) {
    report.remarks.push_back("the watch was resumed " + counted(story.resumptions(), "time") +
                             "; the time in between was not "
                             "watched");
  }
}

void tell_verification(WatchReport &report, const Verification &verification, const Story &story,
                       const Grid &grid) {
  report.verified = verification.complete();
  report.samples = verification.samples();
  report.oddities = verification.oddities();
  report.losses = verification.lost().patches();
  report.changes = verification.changed().patches();
  report.verify_seconds = verification.seconds();
  report.rows_read = verification.rows();
  report.interrupted = verification.interrupted();
  relate(report.losses, verification.lost().steps(), story.steps(), grid, report.outages);
  for (const std::string &remark : verification.remarks()) report.remarks.push_back(remark);
  const int64_t gone = gone_before(verification.lost(), story.steps(), report.judged_points);
  if (gone >= 0 && gone + 1 < story.steps().end() && verification.tree() == TreeState::ours) {
    report.remarks.push_back("everything before " +
                             WatchWords(report).clock(static_cast<double>(grid.time_of(gone + 1))) +
                             " is gone, all points: that is what a limited retention looks like");
  }
}

Ranges shared_points(const JournalHead &head, double share) {
  if (share >= 1) return Ranges({{0, head.points - 1}});
  Ranges some;
  for (int64_t point = 0; point < head.points; ++point) {
    if (in_share(head.seed, point, share)) some.add(point);
  }
  if (some.empty()) some.add(static_cast<int64_t>(head.seed % static_cast<uint64_t>(head.points)));
  return some;
}

}  // namespace kelpcheck::watch
