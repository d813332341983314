// SIGINT, SIGTERM, SIGHUP and SIGCHLD as events: while a Signals lives they are blocked and wait to
// be taken. A Child unblocks them for itself.
#pragma once

#include <csignal>

namespace kelpcheck {

sigset_t watched_signals();

class Signals {
 public:
  Signals();  // throws std::system_error
  ~Signals();
  Signals(const Signals &) = delete;
  Signals &operator=(const Signals &) = delete;

  // To be polled; readable when a signal waits.
  int descriptor() const { return descriptor_; }
  // Takes all that wait. The number of the last one that asks for an end, 0 if none does.
  int take();

 private:
  int descriptor_;
  sigset_t before_;
};

}  // namespace kelpcheck
