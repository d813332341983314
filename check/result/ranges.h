// Numbers of points or steps as runs of neighbours: people read them so, and they take little room,
// since a thousand lost points are usually one run.
#pragma once

#include <cstdint>
#include <vector>

namespace kelpcheck {

struct Span {
  int64_t first = 0, last = -1;  // both included
  int64_t size() const { return last - first + 1; }
  auto operator<=>(const Span &) const = default;
};

// In order, and apart from each other by at least one number.
class Ranges {
 public:
  Ranges() = default;
  // In any order, overlapping or not.
  explicit Ranges(const std::vector<Span> &parts);

  void add(Span range);
  void add(int64_t number) { add({number, number}); }
  bool contains(int64_t number) const;
  // How many numbers of `within` are in these.
  int64_t count(Span within) const;
  int64_t count() const;
  bool empty() const { return parts_.empty(); }
  const std::vector<Span> &parts() const { return parts_; }
  auto operator<=>(const Ranges &) const = default;

 private:
  std::vector<Span> parts_;
};

}  // namespace kelpcheck
