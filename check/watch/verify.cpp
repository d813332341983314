#include "watch/verify.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <iostream>

#include "command.h"
#include "process/machine.h"
#include "report/files.h"
#include "report/watch_reports.h"
#include "report/watch_words.h"
#include "result/text.h"
#include "result/times.h"

namespace kelpcheck::watch {

namespace {

// The steps that are judged: all that are known, or those up to a moment.
Span judged_steps(const Steps &steps, const Grid &grid, const std::optional<int64_t> &until) {
  Span judged{0, steps.end() - 1};
  if (!until) return judged;
  const int64_t behind = grid.next_step(static_cast<double>(*until) + 0.5);
  judged.last = std::min(judged.last, behind - 1);
  return judged;
}

bool wants_colours(bool on_terminal) {
  const char *no_colour = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  return on_terminal && (no_colour == nullptr || *no_colour == '\0') &&
         (terminal == nullptr || std::string(terminal) != "dumb");
}

// Only what is this watch's, and nothing while it is not sure what that is.
void remove_tree(WatchReport &report, Verification &verification, const JournalRead &journal) {
  if (verification.tree() != TreeState::ours) {
    report.remarks.push_back("nothing was removed: there is no tree of this watch");
    return;
  }
  const std::string obstacle = verification.remove();
  report.remarks.push_back(
      obstacle.empty() ? text("the tree of ", counted(journal.head.points, "point"), " was removed")
                       : "the tree could not be removed: " + obstacle);
}

}  // namespace

WatchReport verify_journal(const std::string &mode, const VerifyOptions &options,
                           JournalRead &journal, Screen &screen, Signals &signals) {
  const int64_t start = now_ns();
  Story &story = journal.story;
  story.finish();
  WatchReport report;
  report.mode = mode;
  report.started = std::time(nullptr);
  report.machine = machine_name();
  report.library = judged_library();
  report.journal = options.journal;
  report.server = options.server;
  report.timeout = options.server.timeout;
  tell_story(report, journal.head, story);

  VerifyTask task;
  task.server = options.server;
  task.head = journal.head;
  task.grid = {report.first_time, journal.head.every};
  task.steps = judged_steps(story.steps(), task.grid, options.until);
  task.points = shared_points(journal.head, options.share);
  task.behind = !journal.running && !options.until;
  task.settle = options.settle.value_or(journal.head.settle);
  task.at_once = mode == "verify";
  report.settle = task.settle;
  report.share = options.share;
  report.judged_points = task.points.count();

  Circumstances circumstances;
  circumstances.broken_lines = journal.broken_lines;
  circumstances.history_kept = story.history_kept();
  if (options.until) circumstances.until = iso_text(static_cast<double>(*options.until));
  Verification verification(task, story.steps(), screen, signals);
  report.interrupted = options.interrupted;
  const bool kept = story.history_kept().value_or(true);
  if (report.interrupted != 0) {
    circumstances.obstacle = "interrupted";
  } else if (kept) {
    verification.run();
    circumstances.tree_missing =
        verification.complete() && verification.tree() == TreeState::missing;
    circumstances.tree_foreign = verification.tree() == TreeState::foreign;
    circumstances.obstacle = verification.obstacle();
    if (!verification.ever_connected() && task.at_once && verification.interrupted() == 0) {
      screen.wipe();
      report.reasons = {"no connection: " + verification.obstacle()};
      report.no_connection = true;
      return report;
    }
    tell_verification(report, verification, story, task.grid);
  }
  if (journal.running)
    report.remarks.push_back("the watch goes on; rows written later were not judged");
  give_verdict(report, circumstances);
  if (options.remove && report.interrupted == 0) remove_tree(report, verification, journal);
  report.seconds = seconds_since(start);
  screen.wipe();
  return report;
}

void require_writable(const ReportOptions &reports) {
  for (const std::string &path : {reports.json, reports.junit, reports.html}) {
    if (!path.empty()) kelpcheck::require_writable(path);
  }
}

int deliver(const WatchReport &report, const ReportOptions &reports, Screen &screen) {
  screen.wipe();
  const int stream = reports.on_stdout() ? STDERR_FILENO : STDOUT_FILENO;
  print_watch(report, screen.out(), wants_colours(isatty(stream) == 1), reports.quiet);
  int status = report.exit_status();
  const struct {
    std::string path;
    std::string (*contents)(const WatchReport &report);
  } files[] = {
      {reports.json, watch_json}, {reports.junit, watch_junit}, {reports.html, watch_html}};
  for (const auto &file : files) {
    if (file.path.empty()) continue;
    try {
      write_file(file.path, file.contents(report));
    } catch (const std::runtime_error &error) {
      status = complain(error.what());
    }
  }
  if (!screen.out()) status = complain("cannot write the report to standard output");
  return report.interrupted != 0 ? report.exit_status() : status;
}

}  // namespace kelpcheck::watch
