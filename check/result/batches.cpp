#include "result/batches.h"

#include <algorithm>
#include <cmath>

namespace kelpcheck {

double Batches::Batch::mean() const { return std::exp(logarithms / static_cast<double>(calls)); }

void Batches::add(int64_t nanoseconds) {
  const bool full = used_ == 0 || batches_[used_ - 1].calls >= int64_t{1} << doublings_;
  if (full) append({0, 0});
  ++batches_[used_ - 1].calls;
  const auto time = static_cast<double>(std::max<int64_t>(nanoseconds, 1));
  batches_[used_ - 1].logarithms += std::log(time);
}

// When there is no room, two neighbours become one.
void Batches::append(Batch batch) {
  if (used_ == kMost) {
    used_ /= 2;
    ++doublings_;
    for (int i = 0; i < used_; ++i) {
      const Batch &first = batches_[2 * i], &second = batches_[2 * i + 1];
      batches_[i] = {first.calls + second.calls, first.logarithms + second.logarithms};
    }
  }
  batches_[used_++] = batch;
}

void Batches::merge(const Batches &later) {
  for (int i = 0; i < later.used_; ++i) append(later.batches_[i]);
}

}  // namespace kelpcheck
