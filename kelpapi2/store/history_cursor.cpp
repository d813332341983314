// A call asks for as many points as fit if each of them has somewhat more rows than the ones before
// turned out to have, so that points come whole, and nothing is read twice where they are alike. Of
// results that are read in step, each may hold the same share of the budget; they run out together
// and are read on in one call.
#include "store/history_cursor.h"

#include <algorithm>
#include <limits>

namespace kelp {

namespace {

constexpr size_t kRowsPerCall = 131'072;  // at most; as many may be held beside them
constexpr size_t kRowsAtFirst = 512;      // of a point
constexpr size_t kFewestRows = 32;        // of a point, unless they are read in step
constexpr size_t kMostRows = 32'768;      // of a point

}  // namespace

HistoryCursor::HistoryCursor(std::shared_ptr<SampleSource> source, std::span<const int32_t> ids,
                             const Intervals &intervals)
    : source_(std::move(source)), intervals_(intervals), rows_to_ask_(kRowsAtFirst) {
  const bool empty = intervals_.begin >= intervals_.end;
  pages_.reserve(ids.size());
  for (const int32_t id : ids) {
    pages_.push_back({.id = id, .complete = empty, .resume = intervals_.begin});
  }
  if (!pages_.empty() && !empty) fill(0);
}

const Sample *HistoryCursor::peek(uint32_t point) {
  Page &page = pages_[point];
  if (page.unread() == 0 && !page.complete) fill(point);
  return page.unread() == 0 ? nullptr : &page.samples[page.position];
}

void HistoryCursor::advance(uint32_t point) {
  Page &page = pages_[point];
  if (!page.started) ++started_;
  page.started = true;
  ++page.position;
  if (page.unread() == 0 && page.complete) finish(page);
}

void HistoryCursor::release(uint32_t point) { finish(pages_[point]); }

void HistoryCursor::finish(Page &page) {
  if (page.started) --started_;
  page.started = false;
  keep(page, 0);
  page.complete = true;
}

// A caller may go on fetching whatever happens: a failure is told once, not once per row.
template <typename Call>
auto HistoryCursor::ask(Call &&call) {
  if (failure_ != kOk) throw Failure(failure_);
  try {
    return call();
  } catch (const Failure &failure) {
    failure_ = failure.code();
    throw;
  }
}

void HistoryCursor::fill(uint32_t point) {
  make_room();
  const size_t share = std::max<size_t>(kRowsPerCall / (started_ + 1), 1);
  const size_t limit = std::min(rows_to_ask_, share);
  const std::vector<uint32_t> points = points_to_ask(point, limit);
  std::vector<RangeStart> starts;
  for (const uint32_t asked : points) {
    starts.push_back({pages_[asked].id, static_cast<int32_t>(pages_[asked].resume)});
  }
  auto samples = ask([&] { return source_->range(starts, intervals_.end, limit); });
  size_t longest = 0;
  for (size_t i = 0; i < points.size(); ++i) {
    longest = std::max(longest, samples[i].size());
    append(pages_[points[i]], std::move(samples[i]), limit);
  }
  learn(longest, limit);
}

std::vector<uint32_t> HistoryCursor::points_to_ask(uint32_t point, size_t limit) {
  const auto after = [&](uint32_t other) { return other + 1 == pages_.size() ? 0 : other + 1; };
  const bool started = pages_[point].started;
  if (point != ahead_ && !started) {  // a jump, after which nobody knows what comes next
    ahead_ = after(point);
    return {point};
  }
  const bool in_order = point == ahead_ || started_ == 1;
  std::vector<uint32_t> points{point};
  const size_t most = kRowsPerCall / limit;
  for (uint32_t next = after(point); next != point && points.size() < most; next = after(next)) {
    const Page &page = pages_[next];
    const bool wanted = !page.complete && (page.started || in_order);
    if (wanted && page.unread() <= limit / 2) points.push_back(next);
  }
  if (in_order) ahead_ = after(points.back());
  return points;
}

void HistoryCursor::append(Page &page, std::vector<Sample> samples, size_t limit) {
  const bool all = samples.size() < limit;
  keep(page, page.unread());
  held_ -= page.samples.size();
  if (page.samples.empty()) {
    page.samples = std::move(samples);
  } else {
    page.samples.insert(page.samples.end(), samples.begin(), samples.end());
  }
  held_ += page.samples.size();
  if (page.unread() > 0) page.resume = int64_t{page.samples.back().time} + 1;
  page.complete = all || page.resume >= intervals_.end;
  if (page.unread() == 0 && page.complete) finish(page);
}

// What a share in reading in step has cut says nothing about the points.
void HistoryCursor::learn(size_t longest, size_t limit) {
  if (limit < rows_to_ask_) return;
  const size_t expected = longest == limit ? limit * 4 : longest + longest / 4 + 1;
  rows_to_ask_ = std::clamp(std::max(expected, limit / 4), kFewestRows, kMostRows);
}

void HistoryCursor::make_room() {
  if (held_ <= kRowsPerCall) return;
  const auto holding = std::count_if(pages_.begin(), pages_.end(),
                                     [](const Page &page) { return page.unread() > 0; });
  const size_t share = kRowsPerCall / std::max<size_t>(holding, 1);
  for (Page &page : pages_) keep(page, share);
}

// Holds on to the next samples of a page, to `most` of them.
void HistoryCursor::keep(Page &page, size_t most) {
  if (page.position == 0 && page.samples.size() <= most) return;
  const auto first = page.samples.begin() + static_cast<std::ptrdiff_t>(page.position);
  const auto end = first + static_cast<std::ptrdiff_t>(std::min(page.unread(), most));
  if (end != page.samples.end()) {
    page.resume = end->time;
    page.complete = false;
  }
  std::vector<Sample> kept(first, end);
  held_ -= page.samples.size() - kept.size();
  page.samples = std::move(kept);
  page.position = 0;
}

int64_t HistoryCursor::intervals_left(uint32_t point, int32_t step) {
  if (peek(point) == nullptr) return 0;
  const Page &page = pages_[point];
  const Intervals counted{intervals_.begin, intervals_.end, step};
  int64_t intervals = 0;
  int64_t last = -1;
  for (size_t i = page.position; i < page.samples.size(); ++i) {
    const int64_t interval = counted.number_of(page.samples[i].time);
    intervals += interval != last;
    last = interval;
  }
  const int64_t begin = counted.end_of(last);
  if (page.complete || begin >= intervals_.end) return intervals;
  const RangeStart rest{page.id, static_cast<int32_t>(begin)};
  return intervals + ask([&] { return source_->count(rest, intervals_.end, step); });
}

int32_t HistoryResult::count() {
  if (!count_) {
    const int32_t step = mode_ == HistoryTimed ? 1 : cursor_->intervals().step;
    const int64_t rows = delivered_ + cursor_->intervals_left(point_, step);
    count_ = static_cast<int32_t>(std::min<int64_t>(rows, std::numeric_limits<int32_t>::max()));
  }
  return *count_;
}

bool HistoryResult::at_end() {
  return count_ ? delivered_ == *count_ : cursor_->peek(point_) == nullptr;
}

void HistoryResult::start_row() {
  if (at_end() || cursor_->peek(point_) == nullptr) throw Failure(kEndOfRows);
  ++delivered_;
}

Sample HistoryResult::next_sample() {
  start_row();
  const Sample sample = *cursor_->peek(point_);
  cursor_->advance(point_);
  return sample;
}

StatValue HistoryResult::next_statistics() {
  start_row();
  const Intervals &intervals = cursor_->intervals();
  const Sample first = *cursor_->peek(point_);
  const int64_t interval = intervals.number_of(first.time);
  StatFold fold(first);
  cursor_->advance(point_);
  while (const Sample *sample = cursor_->peek(point_)) {
    if (intervals.number_of(sample->time) != interval) break;
    fold.add(*sample);
    cursor_->advance(point_);
  }
  return fold.row(intervals.start_of(interval), intervals.end_of(interval));
}

}  // namespace kelp
