// Times of successive calls as means of batches, for comparing one run with another: neighbouring
// calls are alike, so that single calls would suggest more certainty than there is. Two runs of the
// same calls have the same batches, which are compared one by one. The means are geometric:
// otherwise a single call that was held up would hide all others. Plain memory of a fixed size;
// zeroed memory is an empty one.
#pragma once

#include <cstdint>
#include <vector>

namespace kelpcheck {

class Batches {
 public:
  static constexpr int kMost = 32;  // even
  struct Batch {
    int64_t calls;
    double logarithms;    // of nanoseconds, their sum
    double mean() const;  // nanoseconds
  };

  void add(int64_t nanoseconds);
  // Those of calls that came later.
  void merge(const Batches &later);
  // In order of time, at most kMost; at least half of that once there were as many calls.
  std::vector<Batch> all() const { return {batches_, batches_ + used_}; }

 private:
  void append(Batch batch);

  Batch batches_[kMost];
  int32_t used_;
  int32_t doublings_;  // a batch is full at 2 to the power of that many calls
};

}  // namespace kelpcheck
