// The process that makes room for a load and clears up after it.
#pragma once

#include <memory>

#include "load/options.h"
#include "process/worker.h"

namespace kelpcheck {

// Answers "open": nothing of an earlier run stays, and the nodes are made; and "clean": everything
// is removed. The answer to either is the server's time, then what went wrong: "1346432400 ",
// "0 no session". What begins with "refused " leaves the run nothing to do.
std::unique_ptr<Worker> make_steward(const LoadOptions &options);

// Shows other runs that the prefix is taken, from a process of its own, while it lives.
class ClaimKeeper {
 public:
  explicit ClaimKeeper(const LoadOptions &options);

 private:
  Shared<CallBoard> board_;
  Child child_;
};

}  // namespace kelpcheck
