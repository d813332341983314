#include "store/history.h"

namespace kelp {

HistoryRows::HistoryRows(const HistoryQuery &query) : intervals_(query.intervals) {
  points_.reserve(query.ids.size());
  for (const HistoryMode mode : query.modes) points_.push_back({.mode = mode});
}

void HistoryRows::begin_point(size_t point) {
  end_interval();
  filled_ = &points_[point];
  filled_->known = true;
  filled_->offset = buffer_.size();
}

void HistoryRows::add(const Sample &sample) {
  if (filled_->mode == HistoryTimed) return append(sample);
  const int64_t interval = intervals_.number_of(sample.time);
  if (fold_ && interval == interval_) return fold_->add(sample);
  end_interval();
  fold_.emplace(sample);
  interval_ = interval;
}

void HistoryRows::finish() {
  end_interval();
  buffer_.finish();
}

template <typename Row>
void HistoryRows::append(const Row &row) {
  buffer_.append(row);
  ++filled_->rows;
}

void HistoryRows::end_interval() {
  if (!fold_) return;
  append(fold_->row(intervals_.start_of(interval_), intervals_.end_of(interval_)));
  fold_.reset();
}

}  // namespace kelp
