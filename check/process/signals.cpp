#include "process/signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace kelpcheck {

sigset_t watched_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&set, number);
  return set;
}

Signals::Signals() : before_() {
  const sigset_t set = watched_signals();
  descriptor_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  sigprocmask(SIG_BLOCK, &set, &before_);
}

// What still waits is dropped: it has been asked for already.
Signals::~Signals() {
  take();
  close(descriptor_);
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

int Signals::take() {
  int asked = 0;
  for (signalfd_siginfo info; read(descriptor_, &info, sizeof info) == sizeof info;) {
    if (info.ssi_signo != SIGCHLD) asked = static_cast<int>(info.ssi_signo);
  }
  return asked;
}

}  // namespace kelpcheck
