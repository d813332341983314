// Forks are counted as they happen: asking for the process id would be a system call for every row.
#include "store/process.h"

#include <pthread.h>

#include <new>

#include "store/result_code.h"

namespace kelp {

OwningProcess::OwningProcess() : number_(forks_) {
  static const int failure = pthread_atfork(nullptr, nullptr, count_fork);
  if (failure != 0) throw std::bad_alloc();
}

void OwningProcess::count_fork() {
  ++forks_;
  told_ = false;
}

void OwningProcess::require_current() const {
  if (is_current()) return;
  if (told_.exchange(true)) throw Failure(kLost);
  throw Failure(kLost,
                "a connection belongs to the process that made it, and this one was forked since");
}

}  // namespace kelp
