// The values that are written: a function of point and row, so nothing has to be stored to know
// what must come back, however many samples there are. All differ from their neighbours in point
// and in row, have both signs, and use every bit that their kind can hold; they follow a wave, so
// that a plot of them can be looked at. Times are a point's own and not evenly spaced.
#pragma once

#include "probe/handles.h"

namespace kelpcheck {

inline constexpr int32_t kKinds[] = {R8, AX, I4, I2, DX};
const char *name_of_kind(int32_t kind);

// Samples with values and statuses at the ends of what a kind can hold, and ordinary ones between.
inline constexpr size_t kExtremes = 10;
Sample extreme(int32_t kind, size_t number, int32_t time);

class Series {
 public:
  // `salt` makes different values for the same points and rows.
  Series(int32_t kind, uint32_t point, uint32_t salt) : kind_(kind), point_(point), salt_(salt) {}

  int16_t status(int64_t row) const;
  double value(int64_t row) const;
  // Seconds from the begin of the series: 10 a row and 100 more after every 16th, give or take;
  // never a multiple of 10.
  int32_t offset(int64_t row) const;
  // An end behind the last of so many rows, a multiple of 100.
  static int32_t length(int64_t rows) {
    return static_cast<int32_t>((rows * 10 + rows / 16 * 100) / 100 * 100 + 200);
  }

 private:
  uint64_t hash(int64_t row, uint64_t use) const;

  int32_t kind_;
  uint32_t point_;
  uint32_t salt_;
};

}  // namespace kelpcheck
