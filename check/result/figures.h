// What is measured of each operation. Plain memory without pointers: it can be shared between
// processes, copied and merged, and times go into a histogram of fixed size, so that it does not
// grow with the number of calls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "result/batches.h"
#include "result/operations.h"

namespace kelpcheck {

struct Figure {
  int64_t calls, rows, failures;
  int64_t total, shortest, longest;  // nanoseconds
  Batches batches;

  void add(int64_t nanoseconds, int64_t with_rows);
  // Those of another process, or of a later stretch of time.
  void merge(const Figure &other);
  // The time that this share of the calls took at most, to about 3 %; 0 without calls.
  double quantile(double share) const;
  double rows_per_second() const;  // 0 without calls
  // As tables show it: calls, rows, failures, rows/s, shortest, median, 95 %, longest.
  static std::vector<std::string> titles();
  std::vector<std::string> cells() const;

 private:
  static constexpr int kSteps = 16;  // per doubling
  static constexpr int kBuckets = 42 * kSteps;
  uint32_t buckets_[kBuckets];
};

// By operation.
struct Figures {
  Figure all[kOperations];

  Figure &operator[](Op op) { return all[static_cast<int>(op)]; }
  const Figure &operator[](Op op) const { return all[static_cast<int>(op)]; }
  void merge(const Figures &other);
  int64_t time_in_calls() const;  // nanoseconds
};

}  // namespace kelpcheck
