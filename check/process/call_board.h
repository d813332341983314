// Where a child notes its calls, in memory shared with whoever watches over it: a call that hangs
// or ends the process is known by name, and what was measured outlives the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "result/figures.h"

namespace kelpcheck {

// One per child, in a Shared: the child writes through Calls (probe/calls.h), the other side reads.
struct CallBoard {
  std::atomic<int32_t> operation;  // of the call that runs or ran last
  std::atomic<int64_t> started;    // now_ns() when it began, 0 while no call runs
  Figures figures;                 // may be read while the child runs, a call's parts in any order

  // Of a new child that goes on with the figures of an earlier one.
  void begin() { started = 0; }
  const char *operation_name() const { return kOperationNames[operation.load()]; }
  // Whether the call that runs has taken longer than that many seconds.
  bool overdue(double seconds) const;
  // "kelp2_close did not return within 30 s"
  std::string overdue_text(double seconds) const;
  // How a process with this waitpid(2) status ended: "crashed in kelp2_close: Aborted", "the
  // process ended itself after kelp2_init, with status 1".
  std::string end_text(int status) const;
};

}  // namespace kelpcheck
