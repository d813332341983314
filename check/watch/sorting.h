// What became of every value, from what history shows and from what is known of the steps. Every
// (point, time) is counted once.
#pragma once

#include "watch/observation.h"
#include "watch/steps.h"

namespace kelpcheck::watch {

// Lost or changed values of some points.
struct Damage {
  Span steps;
  Ranges points;
};

struct Sorted {
  Samples samples;
  std::vector<Damage> lost, changed;
};

// Sorts what was observed of points over these steps. Rows of steps before or behind all known ones
// count too, as foreign.
Sorted sort_values(const Observation &observation, const Steps &steps, Span over);

// All of them lost: points that are not there.
Sorted all_lost(const Ranges &points, const Steps &steps, Span over);

// Damage as people ask for it: neighbouring steps of the same points are one patch. Holds so many
// pieces; what goes beyond is only counted.
class Patches {
 public:
  static constexpr int64_t kMostPieces = 20'000;
  static constexpr size_t kMostPatches = 200;

  void add(const Damage &damage);
  // In the order of time, at most kMostPatches of them.
  std::vector<Patch> patches() const;
  int64_t values() const { return values_; }
  // Of the steps that have damage, whatever the points.
  const Ranges &steps() const { return steps_; }

 private:
  std::map<Span, Ranges> pieces_;
  int64_t size_ = 0, values_ = 0;
  Ranges steps_;
};

// The last acknowledged step up to which every acknowledged value of all points is lost, while none
// is behind it: what a server leaves that keeps values for a limited time. -1 if it is not so.
int64_t gone_before(const Patches &losses, const Steps &steps, int64_t points);

// Sets of each patch how long before an outage its values were acknowledged, and of each outage how
// many seconds of acknowledged data in front of it are lost.
void relate(std::vector<Patch> &losses, const Ranges &lost_steps, const Steps &steps,
            const Grid &grid, std::vector<Outage> &outages);

}  // namespace kelpcheck::watch
