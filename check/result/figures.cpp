#include "result/figures.h"

#include <algorithm>
#include <bit>

#include "result/text.h"

namespace kelpcheck {

// Buckets 0 to 31 hold one nanosecond each; after that every doubling has kSteps of them.
void Figure::add(int64_t nanoseconds, int64_t with_rows) {
  const int64_t time = std::max<int64_t>(nanoseconds, 1);
  const int shift = std::max(0, static_cast<int>(std::bit_width(uint64_t(time))) - 5);
  ++buckets_[std::min<int64_t>(int64_t{shift} * kSteps + (time >> shift), kBuckets - 1)];
  shortest = calls == 0 ? time : std::min(shortest, time);
  longest = std::max(longest, time);
  batches.add(time);
  total += time;
  rows += with_rows;
  ++calls;
}

void Figure::merge(const Figure &other) {
  if (other.calls == 0) return;
  shortest = calls == 0 ? other.shortest : std::min(shortest, other.shortest);
  longest = std::max(longest, other.longest);
  total += other.total;
  calls += other.calls;
  rows += other.rows;
  failures += other.failures;
  batches.merge(other.batches);
  for (int bucket = 0; bucket < kBuckets; ++bucket) buckets_[bucket] += other.buckets_[bucket];
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

double Figure::rows_per_second() const {
  return total > 0 ? static_cast<double>(rows) * 1e9 / static_cast<double>(total) : 0;
}

std::vector<std::string> Figure::titles() {
  return {"calls", "rows", "failures", "rows/s", "shortest", "median", "95 %", "longest"};
}

std::vector<std::string> Figure::cells() const {
  return {std::to_string(calls),
          std::to_string(rows),
          std::to_string(failures),
          rows > 0 ? rate_text(rows_per_second()) : "",
          duration_text(static_cast<double>(shortest)),
          duration_text(quantile(0.5)),
          duration_text(quantile(0.95)),
          duration_text(static_cast<double>(longest))};
}

void Figures::merge(const Figures &other) {
  for (int op = 0; op < kOperations; ++op) all[op].merge(other.all[op]);
}

int64_t Figures::time_in_calls() const {
  int64_t sum = 0;
  for (const Figure &figure : all) sum += figure.total;
  return sum;
}

}  // namespace kelpcheck
