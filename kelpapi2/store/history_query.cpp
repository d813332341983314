// A window is asked for as many points as the one before it turned out to hold, so that neither
// many short histories nor a few long ones cost more than they need. Reading in order is given
// large windows, jumping between results small ones.
#include "store/history_query.h"

#include <algorithm>
#include <limits>

namespace kelp {

namespace {

constexpr size_t kLargeWindow = 8192;
constexpr size_t kSmallWindow = 64;
constexpr uint32_t kMostPoints = 1024;
constexpr uint32_t kFirstPoints = 32;

}  // namespace

HistoryQuery::HistoryQuery(std::shared_ptr<Store> store, std::vector<int32_t> ids,
                           const Intervals &intervals)
    : store_(std::move(store)),
      ids_(std::move(ids)),
      intervals_(intervals),
      span_(kFirstPoints),
      limit_(kLargeWindow) {
  if (!ids_.empty() && intervals_.begin < intervals_.end) move_window(0, intervals_.begin);
}

bool HistoryQuery::covers(uint32_t point, int64_t from) const {
  if (point < first_point_ || point >= end_point_) return false;
  if (point == first_point_ && from < first_time_) return false;
  const bool cut = last_point_cut_ && point + 1 == end_point_;
  // Of a cut point, only what lies up to its last row is known.
  return !cut || from <= window_.back().sample.time;
}

bool HistoryQuery::follows(uint32_t point, int64_t from) const {
  return last_point_cut_ ? point + 1 == end_point_ && from > window_.back().sample.time
                         : point == end_point_;
}

void HistoryQuery::move_window(uint32_t point, int64_t from) {
  const auto left = static_cast<uint32_t>(ids_.size() - point);
  const uint32_t asked = std::min(span_, left);
  std::vector<RangeRow> rows =
      store_->range(std::span(ids_).subspan(point, asked), static_cast<int32_t>(from),
                    intervals_.begin, intervals_.end, limit_);
  window_ = std::move(rows);
  ++revision_;
  first_point_ = point;
  first_time_ = from;
  last_point_cut_ = window_.size() == limit_;
  const uint32_t held = last_point_cut_ ? window_.back().point + 1 : asked;
  end_point_ = point + held;
  span_ = last_point_cut_ ? held : std::min(span_ * 2, kMostPoints);
}

HistoryQuery::Page HistoryQuery::page(uint32_t point, int64_t from) {
  if (from >= intervals_.end) return {{}, true, revision_};
  if (!covers(point, from)) {
    // A caller may go on fetching whatever happens: a failure is told once, not once per row.
    if (failure_ != kOk) throw Failure(failure_);
    limit_ = follows(point, from) ? std::min(limit_ * 4, kLargeWindow) : kSmallWindow;
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
  const bool cut = last_point_cut_ && point + 1 == end_point_;
  return {{begin, end}, !cut, revision_};
}

SampleStream::SampleStream(std::shared_ptr<HistoryQuery> query, uint32_t point)
    : query_(std::move(query)), point_(point), from_(query_->intervals().begin) {}

const Sample *SampleStream::peek() {
  if (!page_ || page_->revision != query_->revision()) {
    page_ = query_->page(point_, from_);
    position_ = 0;
  }
  if (position_ == page_->rows.size()) {
    if (page_->last) return nullptr;
    page_ = query_->page(point_, from_);
    position_ = 0;
    if (page_->rows.empty()) return nullptr;
  }
  return &page_->rows[position_].sample;
}

void SampleStream::advance() {
  from_ = int64_t{page_->rows[position_].sample.time} + 1;
  ++position_;
}

HistoryResult::HistoryResult(std::shared_ptr<HistoryQuery> query, uint32_t point, HistoryMode mode)
    : query_(query), point_(point), mode_(mode), stream_(std::move(query), point) {}

int32_t HistoryResult::count() {
  if (!count_) count_ = count_rows();
  return *count_;
}

int32_t HistoryResult::count_rows() {
  const HistoryQuery::Page page = query_->page(point_, query_->intervals().begin);
  if (mode_ == HistoryTimed && page.last) return static_cast<int32_t>(page.rows.size());

  int64_t rows = 0;
  int64_t interval = -1;
  for (SampleStream stream(query_, point_); const Sample *sample = stream.peek();) {
    const int64_t of_sample = query_->intervals().number_of(sample->time);
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
  const Intervals &intervals = query_->intervals();
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
