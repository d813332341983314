// What everything that talks to the library in one process shares: which server, how calls are
// timed, and the evidence that they gather.
#pragma once

#include "probe/calls.h"
#include "result/evidence.h"
#include "result/options.h"

namespace kelpcheck {

// How much one call takes, once the server has refused more; 0 where none was refused.
struct Limits {
  int64_t rows = 0;     // of a write
  int64_t names = 0;    // or ids, of a reading
  int64_t objects = 0;  // of a change
};

struct Context {
  Context(const ServerOptions &server_, CallBoard &board) : server(server_), calls(board) {}

  const ServerOptions &server;
  Calls calls;
  Limits limits;
  Evidence evidence;  // of the check that runs, and of what its calls alone gave wrongly
};

}  // namespace kelpcheck
