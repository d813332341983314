// What the reader of a watch makes of what it reads while the watch runs: values that are older
// than they may be, that no step wrote, and holes in history that stay.
#pragma once

#include <deque>
#include <map>

#include "watch/sorting.h"

namespace kelpcheck::watch {

struct Findings {
  int64_t values = 0;
  Oddity example;
};

class Judge {
 public:
  using Name = std::function<std::string(int64_t point)>;
  Judge(const Grid &grid, uint64_t seed, double settle, Name name)
      : grid_(grid), seed_(seed), settle_(settle), name_(std::move(name)) {}

  // In the order of steps.
  void acknowledged(int64_t step, double at);
  // One behind the last step that was acknowledged `settle` before this moment.
  int64_t settled_end(double moment);

  // Of a read of current values that began then.
  Findings stale(const CurrentValues &read, const Steps &steps, double began);
  Findings foreign(const CurrentValues &read, const Steps &steps) const;

  // Of a read of history over these steps that began then: holes that have stayed for `settle`,
  // each told once.
  Findings holes(const Observation &read, const Steps &steps, Span over, double began);
  // The first step with a hole that has not been told; -1 without one.
  int64_t oldest_hole() const;

 private:
  struct Hole {
    double first_seen;
    bool told;
  };
  using Place = std::pair<int64_t, int64_t>;  // a step, and the first of neighbouring points
  bool stays(const Place &place, double began, std::map<Place, Hole> &still) const;
  Grid grid_;
  uint64_t seed_;
  double settle_;
  Name name_;
  std::deque<std::pair<int64_t, double>> recent_;  // steps acknowledged lately
  int64_t settled_ = 0;
  std::map<Place, Hole> holes_;  // of the points that are read again
};

}  // namespace kelpcheck::watch
