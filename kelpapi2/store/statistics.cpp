// Sums are in long double, so that adding up millions of samples loses no visible digit.
#include "store/statistics.h"

#include <algorithm>
#include <cmath>

namespace kelp {

int64_t Intervals::number_of(int32_t time) const {
  return step <= 0 ? 0 : (int64_t{time} - begin) / step;
}

int64_t Intervals::start_of(int64_t number) const {
  return step <= 0 ? begin : begin + number * step;
}

int64_t Intervals::end_of(int64_t number) const {
  return step <= 0 ? end : std::min<int64_t>(start_of(number) + step, end);
}

StatFold::StatFold(const Sample &first)
    : first_time_(first.time), last_(first), running_mean_(first.value), sum_(first.value) {
  if (!std::isfinite(first.value)) squares_ = std::nan("");
  extremes_.status = first.status;
  extremes_.max = extremes_.min = first.value;
  extremes_.maxtime = extremes_.mintime = first.time;
}

void StatFold::add(const Sample &next) {
  flow_ += static_cast<long double>(last_.value) * (int64_t{next.time} - last_.time);
  last_ = next;
  ++count_;
  sum_ += next.value;
  const long double deviation = next.value - running_mean_;
  running_mean_ += deviation / count_;
  squares_ += deviation * (next.value - running_mean_);

  extremes_.status = static_cast<int16_t>(extremes_.status | next.status);
  if (next.value > extremes_.max || (std::isnan(extremes_.max) && !std::isnan(next.value))) {
    extremes_.max = next.value;
    extremes_.maxtime = next.time;
  }
  if (next.value < extremes_.min || (std::isnan(extremes_.min) && !std::isnan(next.value))) {
    extremes_.min = next.value;
    extremes_.mintime = next.time;
  }
}

StatValue StatFold::row(int64_t start, int64_t end) const {
  StatValue row = extremes_;
  const long double flow = flow_ + static_cast<long double>(last_.value) * (end - last_.time);
  row.time = static_cast<int32_t>(start);
  row.flow = static_cast<double>(flow);
  row.avg = static_cast<double>(flow / (end - first_time_));
  row.mean = static_cast<double>(sum_ / count_);
  row.stdev = static_cast<double>(std::sqrt(squares_ / count_));
  return row;
}

}  // namespace kelp
