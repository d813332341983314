// A window is asked for as many points as the one before it turned out to hold, so that neither
// many short histories nor a few long ones cost more than they need. Reading in order is given
// large windows, jumping between results small ones.
#include "store/history_cursor.h"

#include <algorithm>
#include <limits>

namespace kelp {

namespace {

constexpr size_t kRowsInOrder = 8192;   // of a window that follows the one before it
constexpr size_t kRowsOfAJump = 64;     // of one that does not
constexpr uint32_t kFirstPoints = 32;   // asked for by the first window
constexpr uint32_t kMostPoints = 1024;  // by any window

}  // namespace

HistoryCursor::HistoryCursor(std::shared_ptr<Store> store, std::vector<int32_t> ids,
                             const Intervals &intervals)
    : store_(std::move(store)),
      ids_(std::move(ids)),
      intervals_(intervals),
      points_to_ask_(kFirstPoints),
      rows_to_ask_(kRowsInOrder) {
  if (!ids_.empty() && intervals_.begin < intervals_.end) move_window(0, intervals_.begin);
}

bool HistoryCursor::is_cut(uint32_t point) const {
  return last_point_cut_ && point + 1 == end_point_;
}

bool HistoryCursor::covers(uint32_t point, int64_t from) const {
  if (point < first_point_ || point >= end_point_) return false;
  if (point == first_point_ && from < first_time_) return false;
  // What comes after the last row of a cut point is not known.
  return !is_cut(point) || from <= window_.back().sample.time;
}

bool HistoryCursor::follows(uint32_t point, int64_t from) const {
  return last_point_cut_ ? is_cut(point) && from > window_.back().sample.time : point == end_point_;
}

void HistoryCursor::move_window(uint32_t point, int64_t from) {
  const auto left = static_cast<uint32_t>(ids_.size() - point);
  const uint32_t asked = std::min(points_to_ask_, left);
  std::vector<RangeRow> rows =
      store_->range(std::span(ids_).subspan(point, asked), static_cast<int32_t>(from),
                    intervals_.begin, intervals_.end, rows_to_ask_);
  window_ = std::move(rows);
  ++revision_;
  first_point_ = point;
  first_time_ = from;
  last_point_cut_ = window_.size() == rows_to_ask_;
  const uint32_t held = last_point_cut_ ? window_.back().point + 1 : asked;
  end_point_ = point + held;
  points_to_ask_ = last_point_cut_ ? held : std::min(points_to_ask_ * 2, kMostPoints);
}

HistoryCursor::Page HistoryCursor::page(uint32_t point, int64_t from) {
  if (from >= intervals_.end) return {{}, true, revision_};
  if (!covers(point, from)) {
    // A caller may go on fetching whatever happens: a failure is told once, not once per row.
    if (failure_ != kOk) throw Failure(failure_);
    rows_to_ask_ = follows(point, from) ? std::min(rows_to_ask_ * 4, kRowsInOrder) : kRowsOfAJump;
    try {
      move_window(point, from);
    } catch (const Failure &failure) {
      failure_ = failure.code();
      throw;
    }
  }
  const uint32_t key = point - first_point_;
  const auto before = [](const RangeRow &row, const std::pair<uint32_t, int64_t> &place) {
    return std::pair<uint32_t, int64_t>(row.point, row.sample.time) < place;
  };
  const auto begin = std::lower_bound(window_.begin(), window_.end(), std::pair(key, from), before);
  const auto end = std::lower_bound(begin, window_.end(),
                                    std::pair(key, std::numeric_limits<int64_t>::max()), before);
  return {{begin, end}, !is_cut(point), revision_};
}

SampleStream::SampleStream(std::shared_ptr<HistoryCursor> cursor, uint32_t point)
    : cursor_(std::move(cursor)), point_(point), from_(cursor_->intervals().begin) {}

const Sample *SampleStream::peek() {
  if (!page_ || page_->revision != cursor_->revision()) {
    page_ = cursor_->page(point_, from_);
    position_ = 0;
  }
  if (position_ == page_->rows.size()) {
    if (page_->last) return nullptr;
    page_ = cursor_->page(point_, from_);
    position_ = 0;
    if (page_->rows.empty()) return nullptr;
  }
  return &page_->rows[position_].sample;
}

void SampleStream::advance() {
  from_ = int64_t{page_->rows[position_].sample.time} + 1;
  ++position_;
}

HistoryResult::HistoryResult(std::shared_ptr<HistoryCursor> cursor, uint32_t point,
                             HistoryMode mode)
    : cursor_(cursor), point_(point), mode_(mode), stream_(std::move(cursor), point) {}

int32_t HistoryResult::count() {
  if (!count_) count_ = count_rows();
  return *count_;
}

int32_t HistoryResult::count_rows() {
  const HistoryCursor::Page page = cursor_->page(point_, cursor_->intervals().begin);
  if (mode_ == HistoryTimed && page.last) return static_cast<int32_t>(page.rows.size());

  int64_t rows = 0;
  int64_t interval = -1;
  for (SampleStream stream(cursor_, point_); const Sample *sample = stream.peek();) {
    const int64_t of_sample = cursor_->intervals().number_of(sample->time);
    if (mode_ == HistoryTimed || of_sample != interval) ++rows;
    interval = of_sample;
    stream.advance();
  }
  return static_cast<int32_t>(std::min<int64_t>(rows, std::numeric_limits<int32_t>::max()));
}

void HistoryResult::start_row() {
  if (delivered_ == count() || stream_.peek() == nullptr) throw Failure(kEndOfRows);
  ++delivered_;
}

Sample HistoryResult::next_sample() {
  start_row();
  const Sample sample = *stream_.peek();
  stream_.advance();
  return sample;
}

StatValue HistoryResult::next_statistics() {
  start_row();
  const Intervals &intervals = cursor_->intervals();
  const Sample first = *stream_.peek();
  const int64_t interval = intervals.number_of(first.time);
  StatFold fold(first);
  stream_.advance();
  while (const Sample *sample = stream_.peek()) {
    if (intervals.number_of(sample->time) != interval) break;
    fold.add(*sample);
    stream_.advance();
  }
  return fold.row(intervals.start_of(interval), intervals.end_of(interval));
}

}  // namespace kelp
