#include "result/ranges.h"

#include <algorithm>

namespace kelpcheck {

Ranges::Ranges(const std::vector<Span> &parts) {
  for (const Span &part : parts) add(part);
}

void Ranges::add(Span range) {
  if (range.size() <= 0) return;
  // Those that overlap the new one or touch it become one with it.
  const auto begin = std::partition_point(
      parts_.begin(), parts_.end(), [&](const Span &part) { return part.last + 1 < range.first; });
  auto end = begin;
  for (; end != parts_.end() && end->first <= range.last + 1; ++end) {
    range.first = std::min(range.first, end->first);
    range.last = std::max(range.last, end->last);
  }
  if (begin == end) {
    parts_.insert(begin, range);
  } else {
    *begin = range;
    parts_.erase(begin + 1, end);
  }
}

bool Ranges::contains(int64_t number) const { return count({number, number}) == 1; }

int64_t Ranges::count(Span within) const {
  auto part = std::partition_point(parts_.begin(), parts_.end(),
                                   [&](const Span &p) { return p.last < within.first; });
  int64_t sum = 0;
  for (; part != parts_.end() && part->first <= within.last; ++part) {
    sum += std::min(part->last, within.last) - std::max(part->first, within.first) + 1;
  }
  return sum;
}

int64_t Ranges::count() const {
  int64_t sum = 0;
  for (const Span &part : parts_) sum += part.size();
  return sum;
}

}  // namespace kelpcheck
