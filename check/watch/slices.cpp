#include "watch/slices.h"

#include <algorithm>

namespace kelpcheck::watch {

namespace {

constexpr int64_t kDay = 86'400;
constexpr int64_t kPointsBeside = 1000;  // a query, where no rows are expected

int64_t within_int32(int64_t time) { return std::clamp<int64_t>(time, INT32_MIN, INT32_MAX); }

}  // namespace

Slices::Slices(const Ranges &points, Span steps, const Grid &grid, bool behind)
    : points_(points.parts()), steps_(steps), grid_(grid), behind_(behind) {
  all_ = points.count() * steps.size();
  begin_part();
}

void Slices::begin_part() {
  part_ = 0;
  point_ = points_.empty() ? 0 : points_[0].first;
  step_ = steps_.first;
  current_ = {};
}

Ranges Slices::take_points(int64_t most) {
  Ranges some;
  while (most > 0 && part_ < points_.size()) {
    const Span take{point_, std::min(points_[part_].last, point_ + most - 1)};
    some.add(take);
    most -= take.size();
    point_ = take.last + 1;
    if (point_ <= points_[part_].last) continue;
    if (++part_ < points_.size()) point_ = points_[part_].first;
  }
  return some;
}

std::optional<Slice> Slices::next() {
  if (!halves_.empty()) {
    const Slice slice = halves_.front();
    halves_.pop_front();
    done_ += slice.points.count() * slice.steps.size();
    return slice;
  }
  if (phase_ == inside && steps_.size() > 0) {
    if (current_.empty()) current_ = take_points(std::max<int64_t>(1, rows_ / steps_.size()));
    if (!current_.empty()) {
      const int64_t most = std::max<int64_t>(1, rows_ / current_.count());
      const Span steps{step_, std::min(step_ + most - 1, steps_.last)};
      const Slice slice{
          current_, steps, grid_.time_of(steps.first), within_int32(grid_.time_of(steps.last + 1)),
          false,    0};
      step_ = steps.last + 1;
      if (step_ > steps_.last) {
        step_ = steps_.first;
        current_ = {};
      }
      done_ += slice.points.count() * slice.steps.size();
      return slice;
    }
  } else if (phase_ == before || (phase_ == after && behind_)) {
    const Ranges some = take_points(kPointsBeside);
    const int64_t begin = grid_.time_of(steps_.first), end = grid_.time_of(steps_.last + 1);
    const Span none{0, -1};
    if (!some.empty() && phase_ == before) {
      return Slice{some, none, within_int32(begin - kDay), begin, true, 0};
    }
    if (!some.empty()) return Slice{some, none, end, within_int32(end + kDay), true, 0};
  }
  if (phase_ == finished) return std::nullopt;
  phase_ = static_cast<Phase>(phase_ + 1);
  begin_part();
  return next();
}

bool Slices::halve(const Slice &slice) {
  Slice one = slice, other = slice;
  const std::vector<Span> &parts = slice.points.parts();
  if (slice.points.count() > 1) {
    const int64_t half = slice.points.count() / 2;
    one.points = other.points = {};
    int64_t taken = 0;
    for (const Span &part : parts) {
      const int64_t split = std::clamp(part.first + half - taken, part.first, part.last + 1);
      one.points.add({part.first, split - 1});
      other.points.add({split, part.last});
      taken += part.size();
    }
  } else if (slice.steps.size() > 1) {
    const int64_t middle = slice.steps.first + slice.steps.size() / 2;
    one.steps.last = middle - 1;
    other.steps.first = middle;
    one.end = other.begin = grid_.time_of(middle);
  } else {
    return false;
  }
  if (!slice.margin) {
    rows_ = std::max<int64_t>(1, std::min(rows_, slice.points.count() * slice.steps.size() / 2));
  }
  done_ -= slice.points.count() * slice.steps.size();
  halves_.push_front(other);
  halves_.push_front(one);
  return true;
}

}  // namespace kelpcheck::watch
