#include "watch/grid.h"

#include <cmath>

namespace kelpcheck::watch {

std::optional<int64_t> Grid::step_at(int64_t time) const {
  const int64_t passed = time - first;
  if (passed % every != 0) return std::nullopt;
  return passed / every;
}

int64_t Grid::next_step(double moment) const {
  return static_cast<int64_t>(
      std::ceil((moment - static_cast<double>(first)) / static_cast<double>(every)));
}

TimeBase::TimeBase(int64_t monotonic_ns, double host_time, int64_t server_time)
    : origin_ns_(monotonic_ns),
      origin_(host_time),
      offset_(std::ceil(static_cast<double>(server_time) - host_time)) {
  origin_ += offset_;
}

TimeBase TimeBase::with_offset(int64_t monotonic_ns, double host_time, double offset) {
  TimeBase base;
  base.origin_ns_ = monotonic_ns;
  base.origin_ = host_time + offset;
  base.offset_ = offset;
  return base;
}

double TimeBase::moment(int64_t monotonic_ns) const {
  return origin_ + static_cast<double>(monotonic_ns - origin_ns_) / 1e9;
}

int64_t TimeBase::monotonic_ns(double moment) const {
  return origin_ns_ + static_cast<int64_t>(std::llround((moment - origin_) * 1e9));
}

double TimeBase::drift(int64_t monotonic_ns, int64_t server_time) const {
  const double apart = static_cast<double>(server_time) - std::floor(moment(monotonic_ns));
  return std::abs(apart) <= 1 ? 0 : apart;
}

}  // namespace kelpcheck::watch
