// The report of a watch: what its journal says, what history shows, and the verdict.
#pragma once

#include "watch/story.h"
#include "watch/verification.h"

namespace kelpcheck::watch {

// What bears on the verdict beside the numbers of the report.
struct Circumstances {
  bool tree_missing = false;
  bool tree_foreign = false;  // another seed's, or nobody's
  std::string obstacle;       // why history was not read to its end
  int64_t broken_lines = 0;   // of the journal
  std::optional<bool> history_kept;
  std::string until;  // nothing later was judged
};

// Puts verdict and reasons into a report that has all its numbers.
void give_verdict(WatchReport &report, const Circumstances &circumstances);

// What the journal tells; leaves the verification out.
void tell_story(WatchReport &report, const JournalHead &head, const Story &story);
// What was read back.
void tell_verification(WatchReport &report, const Verification &verification, const Story &story,
                       const Grid &grid);

// The points that a share of all means, by the seed; at least one.
Ranges shared_points(const JournalHead &head, double share);

}  // namespace kelpcheck::watch
