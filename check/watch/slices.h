// The history that verification reads, cut into queries of a bounded number of rows.
#pragma once

#include <deque>

#include "watch/grid.h"
#include "watch/steps.h"

namespace kelpcheck::watch {

// Some points over some time.
struct Slice {
  Ranges points;
  Span steps;                  // in it; none beside the watch's own time
  int64_t begin = 0, end = 0;  // seconds, the end not included
  bool margin = false;         // before the first step or behind the last one
  int64_t first_asked = 0;     // now_ns(), 0 for never
};

class Slices {
 public:
  static constexpr int64_t kRows = 10'000;

  // All rows of these points over these steps, and those of a day before; also of a day behind if
  // `behind` says so.
  Slices(const Ranges &points, Span steps, const Grid &grid, bool behind);

  // The next one; nothing when there is none left.
  std::optional<Slice> next();
  // What a server refused comes again in two halves; false if it cannot be cut.
  bool halve(const Slice &slice);
  // Rows that have been handed out and not come back, of how many.
  int64_t done_rows() const { return done_; }
  int64_t all_rows() const { return all_; }

 private:
  Ranges take_points(int64_t most);
  void begin_part();

  std::vector<Span> points_;
  Span steps_;
  Grid grid_;
  bool behind_;
  int64_t rows_ = kRows;
  size_t part_ = 0;    // of points_
  int64_t point_ = 0;  // the next one
  int64_t step_ = 0;   // the next one of `current_`
  Ranges current_;     // points whose steps are being handed out
  enum Phase { before, inside, after, finished } phase_ = before;
  std::deque<Slice> halves_;
  int64_t done_ = 0, all_ = 0;
};

}  // namespace kelpcheck::watch
