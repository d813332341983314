#include "figures.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <new>
#include <system_error>

#include "text.h"

namespace kelpcheck {

int64_t now_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Buckets 0 to 31 hold one nanosecond each; after that every doubling has kSteps of them.
void Figure::add(int64_t nanoseconds, int64_t with_rows) {
  const int64_t time = std::max<int64_t>(nanoseconds, 1);
  const int shift = std::max(0, static_cast<int>(std::bit_width(uint64_t(time))) - 5);
  ++buckets_[std::min<int64_t>(shift * kSteps + (time >> shift), kBuckets - 1)];
  shortest = calls == 0 ? time : std::min(shortest, time);
  longest = std::max(longest, time);
  total += time;
  rows += with_rows;
  ++calls;
}

double Figure::quantile(double share) const {
  auto left = static_cast<int64_t>(share * static_cast<double>(calls));
  for (int bucket = 0; bucket < kBuckets; ++bucket) {
    left -= buckets_[bucket];
    if (left >= 0) continue;
    const int shift = std::max(0, bucket / kSteps - 1);
    const double middle = (bucket - shift * kSteps + (shift > 0 ? 0.5 : 0)) * double(1LL << shift);
    return std::clamp(middle, double(shortest), double(longest));
  }
  return static_cast<double>(longest);
}

std::vector<std::string> Figure::cells() const {
  const double rate = static_cast<double>(rows) * 1e9 / static_cast<double>(total);
  return {std::to_string(calls),
          std::to_string(rows),
          std::to_string(failures),
          rows > 0 ? rate_text(rate) : "",
          duration_text(static_cast<double>(shortest)),
          duration_text(quantile(0.5)),
          duration_text(quantile(0.95)),
          duration_text(static_cast<double>(longest))};
}

int64_t Blackboard::time_in_calls() const {
  int64_t sum = 0;
  for (const Figure &figure : figures) sum += figure.total;
  return sum;
}

Blackboard *new_blackboard() {
  void *memory =
      mmap(nullptr, sizeof(Blackboard), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  return new (memory) Blackboard{};
}

}  // namespace kelpcheck
