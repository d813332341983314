// What a history query has found, for all its points: the samples, or their statistics, read from
// the store once and then kept apart from it, so that the rows are those of the query, and their
// numbers exact, whatever happens to the store. A row is found by its number, so that reading costs
// the same in every order.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "store/row_buffer.h"
#include "store/statistics.h"

namespace kelp {

struct HistoryQuery {
  std::span<const int32_t> ids;
  std::span<const HistoryMode> modes;  // one for each id
  Intervals intervals;                 // of the statistics; their range is that of the query
};

// Points go by their position in the query.
class HistoryRows {
 public:
  explicit HistoryRows(const HistoryQuery &query);

  // For the store: the points in any order, each of them followed by its samples in the order of
  // time. A point that is never begun does not exist.
  void begin_point(size_t point);
  void add(const Sample &sample);
  // Behind the last sample of all.
  void finish();
  // Takes back that a point exists.
  void forget(size_t point) { points_[point].known = false; }

  // For who asked.
  bool knows(size_t point) const { return points_[point].known; }
  HistoryMode mode(size_t point) const { return points_[point].mode; }
  int64_t count(size_t point) const { return points_[point].rows; }
  // A row of a point by its number, of the type that the mode of the point gives: Sample or
  // StatValue.
  template <typename Row>
  Row row(size_t point, int64_t number) const {
    return buffer_.at<Row>(points_[point].offset + static_cast<size_t>(number) * sizeof(Row));
  }

 private:
  struct Point {
    HistoryMode mode;
    bool known = false;
    size_t offset = 0;  // of its first row
    int64_t rows = 0;
  };
  template <typename Row>
  void append(const Row &row);
  void end_interval();

  Intervals intervals_;
  std::vector<Point> points_;
  Point *filled_ = nullptr;
  std::optional<StatFold> fold_;  // of the interval that the last sample was in
  int64_t interval_ = 0;
  RowBuffer buffer_;
};

}  // namespace kelp
