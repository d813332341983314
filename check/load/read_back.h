// Whether what was written is there: a sample of a session's points, with all rows of its last
// stage and those written before the measurement.
#pragma once

#include "load/board.h"
#include "load/work.h"
#include "probe/session.h"

namespace kelpcheck {

// How a session's account travels: one line.
struct ReadBackAccount {
  Evidence evidence;
  std::string how;  // "history", "snapshots at ..."; empty where nothing was read
  bool valid = true;

  std::string line() const;
  static ReadBackAccount from(const std::string &line);
};

struct ReadBack {
  const LoadOptions &options;
  const Work &work;
  int32_t session_number;
  const Session &session;
  const Ids &ids;
  Context &context;

  // The line of an account. Throws CallFailed.
  std::string account(const LoadBoard &board, const LoadControl &control) const;
};

}  // namespace kelpcheck
