// The results of a history query. All results of one query read through one window of rows, which
// moves over the points as they are read: memory is bounded however many points and rows there are,
// no transaction stays open, and reading in order takes few calls to the store.
//
// What fits into one window is a consistent picture of one moment. A longer result is read again as
// it goes on; its row count is fixed when it is first asked for, and a row that has gone missing
// since is a failed fetch.
#pragma once

#include <memory>
#include <optional>

#include "store/statistics.h"
#include "store/store.h"

namespace kelp {

class HistoryCursor {
 public:
  // Reads the first window at once.
  HistoryCursor(std::shared_ptr<Store> store, std::vector<int32_t> ids, const Intervals &intervals);

  const Intervals &intervals() const { return intervals_; }

  // Rows of one point in time order.
  struct Page {
    std::span<const RangeRow> rows;
    bool last;          // the point has no rows after these
    uint64_t revision;  // the page holds while revision() gives this
  };
  // The rows of a point from a time on, moving the window there if it is elsewhere.
  Page page(uint32_t point, int64_t from);
  uint64_t revision() const { return revision_; }

 private:
  void move_window(uint32_t point, int64_t from);
  // Whether rows of the point may be missing at the end of the window.
  bool is_cut(uint32_t point) const;
  // Whether the window holds the next row of a point from a time on, or would if it moved on by
  // one.
  bool covers(uint32_t point, int64_t from) const;
  bool follows(uint32_t point, int64_t from) const;

  std::shared_ptr<Store> store_;
  std::vector<int32_t> ids_;
  Intervals intervals_;

  std::vector<RangeRow> window_;  // `point` counts from first_point_
  uint32_t first_point_ = 0;
  int64_t first_time_ = 0;       // of first_point_, rows before it are left out
  uint32_t end_point_ = 0;       // after the last point that the window covers
  bool last_point_cut_ = false;  // the window ended before the last point's rows did
  uint32_t points_to_ask_;       // with the next move
  size_t rows_to_ask_;           // with the same
  uint64_t revision_ = 0;
  ResultCode failure_ = kOk;  // of a window that could not be read, once and for all
};

// Steps through the samples of one point.
class SampleStream {
 public:
  SampleStream(std::shared_ptr<HistoryCursor> cursor, uint32_t point);
  // The sample at the position, null after the last. Holds until the next call.
  const Sample *peek();
  void advance();

 private:
  std::shared_ptr<HistoryCursor> cursor_;
  uint32_t point_;
  int64_t from_;  // time of the position, if not yet known the earliest that it can have
  std::optional<HistoryCursor::Page> page_;
  size_t position_ = 0;  // in the page
};

// One point's result: raw samples, or statistics per interval.
class HistoryResult {
 public:
  HistoryResult(std::shared_ptr<HistoryCursor> cursor, uint32_t point, HistoryMode mode);

  int32_t count();
  HistoryMode mode() const { return mode_; }
  // Deliver the next row; throw kEndOfRows after the last one.
  Sample next_sample();
  StatValue next_statistics();
  bool at_end() { return delivered_ == count(); }

 private:
  void start_row();
  int32_t count_rows();

  std::shared_ptr<HistoryCursor> cursor_;
  uint32_t point_;
  HistoryMode mode_;
  SampleStream stream_;
  std::optional<int32_t> count_;
  int32_t delivered_ = 0;
};

}  // namespace kelp
