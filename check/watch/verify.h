// Verification with all that goes with it: which steps and points are judged, the verdict, removing
// the tree, and the report's numbers. The end of a watch and the command `verify` share it.
#pragma once

#include "watch/options.h"
#include "watch/summary.h"

namespace kelpcheck::watch {

struct JournalRead {
  JournalHead head;
  Story story;
  int64_t broken_lines = 0;
  bool running = false;  // its watch goes on
};

// `mode` is "watch" or "verify". Fills in all of the report but where reports go.
WatchReport verify_journal(const std::string &mode, const VerifyOptions &options,
                           JournalRead &journal, Screen &screen, Signals &signals);

// What both commands do at the end: prints the report and writes the files. The exit status.
int deliver(const WatchReport &report, const ReportOptions &reports, Screen &screen);
// Finds out whether the files can be written.
void require_writable(const ReportOptions &reports);

}  // namespace kelpcheck::watch
