// What everything that talks to the library in one process shares: which server, how calls are
// timed, and the evidence that they gather.
#pragma once

#include "probe/calls.h"
#include "result/evidence.h"
#include "result/options.h"

namespace kelpcheck {

struct Context {
  Context(const ServerOptions &server_, CallBoard &board) : server(server_), calls(board) {}

  const ServerOptions &server;
  Calls calls;
  Evidence evidence;  // of the check that runs, and of what its calls alone gave wrongly
};

}  // namespace kelpcheck
