// Which process something was made in. A process that was forked has a copy of all that the other
// one had open: what it says over a copied connection mixes with what the other one says, and
// closing the copy ends the session of both.
#pragma once

#include <atomic>

namespace kelp {

class OwningProcess {
 public:
  // That of the caller.
  OwningProcess();
  bool is_current() const { return number_ == forks_.load(std::memory_order_relaxed); }
  // Throws kLost unless it is the current one; the first time in a process with a line.
  void require_current() const;

 private:
  static void count_fork();
  static inline std::atomic<unsigned> forks_ = 0;  // that lead to this process
  static inline std::atomic<bool> told_ = false;

  unsigned number_;
};

// Lets go of what another library has handed out to this process; in a forked one it is left as it
// is until the process ends.
template <auto release>
struct OwnersRelease {
  OwningProcess process;
  void operator()(auto *handle) const {
    if (process.is_current()) release(handle);
  }
};

}  // namespace kelp
