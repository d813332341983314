// What is measured of each operation, in memory that the supervisor and its children share: it
// needs no sending, and nothing is lost when a child is killed. Times go into a histogram of fixed
// size, so that memory does not grow with the number of calls.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace kelpcheck {

inline constexpr int kOperations = 40;

// Nanoseconds of a clock that only goes forward, the same in all processes.
int64_t now_ns();

struct Figure {
  int64_t calls, rows, failures;
  int64_t total, shortest, longest;  // nanoseconds

  void add(int64_t nanoseconds, int64_t with_rows);
  // The time that this share of the calls took at most, to about 3 %; 0 without calls.
  double quantile(double share) const;
  // As tables show it: calls, rows, failures, rows/s, shortest, median, 95 %, longest.
  std::vector<std::string> cells() const;

 private:
  static constexpr int kSteps = 16;  // per doubling
  static constexpr int kBuckets = 42 * kSteps;
  uint32_t buckets_[kBuckets];
};

// Written by one child at a time, read by the supervisor.
struct Blackboard {
  std::atomic<int32_t> operation;     // of the call that runs or ran last
  std::atomic<int64_t> call_started;  // now_ns(), 0 while no call runs
  std::atomic<int64_t> done, total;   // points of the check that runs
  Figure figures[kOperations];

  Figure &figure(int operation_number) { return figures[operation_number]; }
  int64_t time_in_calls() const;
};

// Zeroed memory that children made later share; lives as long as the process.
Blackboard *new_blackboard();

inline Blackboard *blackboard = nullptr;

}  // namespace kelpcheck
