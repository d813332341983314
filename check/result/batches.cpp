#include "result/batches.h"

namespace kelpcheck {

void Batches::add(int64_t nanoseconds) {
  const bool full = used_ == 0 || batches_[used_ - 1].calls >= int64_t{1} << doublings_;
  if (full) append({0, 0});
  ++batches_[used_ - 1].calls;
  batches_[used_ - 1].nanoseconds += nanoseconds;
}

// When there is no room, two neighbours become one.
void Batches::append(Batch batch) {
  if (used_ == kMost) {
    used_ /= 2;
    ++doublings_;
    for (int i = 0; i < used_; ++i) {
      const Batch &first = batches_[2 * i], &second = batches_[2 * i + 1];
      batches_[i] = {first.calls + second.calls, first.nanoseconds + second.nanoseconds};
    }
  }
  batches_[used_++] = batch;
}

void Batches::merge(const Batches &later) {
  for (int i = 0; i < later.used_; ++i) append(later.batches_[i]);
}

}  // namespace kelpcheck
