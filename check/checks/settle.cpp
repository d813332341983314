#include "checks/settle.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace kelpcheck {

namespace {

void sleep_seconds(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

// The pauses between looks, and how long all of them took.
class Patience {
 public:
  explicit Patience(Bed &bed) : bed_(bed), start_(now_ns()) {}

  // Pauses; false once there is no time left.
  bool again() {
    const double left = bed_.c.options.settle - seconds_since(start_);
    if (left <= 0 || bed_.c.evidence.differences > 0) return false;
    sleep_seconds(std::min(pause_, left));
    pause_ = std::min(pause_ * 1.6, 0.5);
    waited_ = true;
    return true;
  }
  void settled() const {
    if (waited_) bed_.c.waited(seconds_since(start_));
  }

 private:
  Bed &bed_;
  int64_t start_;
  double pause_ = 0.005;
  bool waited_ = false;
};

}  // namespace

void settle(Bed &bed, const std::function<Seen(Evidence &)> &look) {
  Patience patience(bed);
  for (;;) {
    Evidence evidence;
    Seen seen = Seen::earlier;
    bool failed = false;
    try {
      seen = look(evidence);
    } catch (const CallFailed &) {
      if (!patience.again()) throw;
      failed = true;
    }
    if (failed || (seen == Seen::earlier && patience.again())) continue;
    if (seen == Seen::expected) patience.settled();
    bed.c.evidence.add(evidence);
    return;
  }
}

void settle_equal(Bed &bed, const std::function<void(Evidence &)> &compare) {
  settle(bed, [&](Evidence &evidence) {
    compare(evidence);
    return evidence.differences == 0 ? Seen::expected : Seen::earlier;
  });
}

bool settles(Bed &bed, const std::function<bool()> &holds) {
  Patience patience(bed);
  while (!holds()) {
    if (!patience.again()) return false;
  }
  patience.settled();
  return true;
}

void wait_longest(Bed &bed) { sleep_seconds(bed.c.habits.longest_wait); }

}  // namespace kelpcheck
