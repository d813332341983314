// Blocks of values of the tree's points, to be written and compared with what is read.
#pragma once

#include "probe/bed.h"

namespace kelpcheck {

// The most rows that a call carries.
inline constexpr int64_t kRowsPerCall = 100'000;
// Rows enough for a check that is not about many.
inline constexpr int64_t kFew = 50;

// Rows of the series of every point, in a stretch of time of its own: `slot` counts within a
// family. There are as many as --samples says, but at most `most`.
class Window {
 public:
  Window(const Bed &bed, int slot, int64_t most = INT32_MAX);

  int64_t rows;
  int32_t begin, end;

  Sample at(size_t point, int64_t row) const;
  Columns columns(size_t point, int64_t first, int64_t last) const;
  // One row of many points, for writes that have one time for all.
  Columns across(const std::vector<size_t> &order, int64_t row) const;
  // Where evidence says that it is.
  std::string place(size_t point, int64_t row) const;

 private:
  const Bed &bed_;
  uint32_t salt_;
};

}  // namespace kelpcheck
