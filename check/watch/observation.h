// What a query of history showed of points, as far as it can be said without knowing what became of
// the steps: which steps' rows are there, exactly or changed, and which rows belong to no step.
// Points that show the same are combined, so that it takes little room to pass on.
#pragma once

#include <functional>

#include "result/watch.h"
#include "watch/grid.h"

namespace kelpcheck::watch {

struct Row {
  int64_t time;
  int16_t status;
  double value;
};

struct Shown {
  Ranges right, wrong;   // steps, on both sides of the watch's own too
  int64_t off_grid = 0;  // rows
  bool operator==(const Shown &) const = default;
};

struct Observed {
  Ranges points;
  Shown shown;
};

struct Observation {
  std::vector<Observed> groups;
  std::vector<Oddity> examples;  // of wrong rows and of those off the grid, a few

  void add(int64_t point, const Shown &shown);
};

// Looks at a point's rows, in any order; of several rows at one time the worst counts.
Shown look_at(const Grid &grid, uint64_t seed, int64_t point, const std::string &name,
              std::vector<Row> rows, std::vector<Oddity> &examples);

// The current values of points: which step each shows.
struct CurrentGroup {
  Ranges points;
  int64_t step;  // kNoValue where the point has none, kForeignValue where no step wrote it
};
inline constexpr int64_t kNoValue = -1;
inline constexpr int64_t kForeignValue = -2;

struct CurrentValues {
  std::vector<CurrentGroup> groups;
  std::vector<Oddity> examples;  // of foreign ones

  void add(int64_t point, int64_t step);
};

// The step whose value this is, or kForeignValue.
int64_t step_of(const Grid &grid, uint64_t seed, int64_t point, const Row &current);

// "status 0, value 12.5"
std::string value_text(int16_t status, double value);

}  // namespace kelpcheck::watch
