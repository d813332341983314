// The tree of a watch: nodes PREFIX01, PREFIX02, ... of up to a thousand points each. The field ED
// of the nodes says whose they are.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "result/ranges.h"

namespace kelpcheck::watch {

class WatchNames {
 public:
  static constexpr int64_t kPointsPerNode = 1000;

  WatchNames(std::string database, std::string prefix, int64_t points)
      : database_(std::move(database)), prefix_(std::move(prefix)), points_(points) {}

  const std::string &database() const { return database_; }
  int64_t points() const { return points_; }
  int64_t nodes() const { return (points_ + kPointsPerNode - 1) / kPointsPerNode; }
  Span points_of(int64_t node) const;
  std::string node(int64_t number) const;  // own names
  std::string point(int64_t number) const;
  std::string full_node(int64_t number) const;  // full ones
  std::string full_point(int64_t number) const;

 private:
  std::string database_, prefix_;
  int64_t points_;
};

// What the nodes' ED begins with. Nobody but verification removes such a node.
inline constexpr const char *kWatchMark = "kelpcheck watch";
// `first` is the time of the first step, 0 before it is known.
std::string watch_mark(uint64_t seed, int64_t first);
// The seed of a mark; nothing for other texts.
std::optional<uint64_t> seed_of_mark(const std::string &text);

}  // namespace kelpcheck::watch
