#include "load/schedule.h"

#include <algorithm>
#include <cmath>

namespace kelpcheck {

int64_t Schedule::due(int64_t until) const {
  const double passed = std::max(0.0, static_cast<double>(until - begin));
  const double number = std::ceil(passed / interval);
  return number < static_cast<double>(calls) ? static_cast<int64_t>(number) : calls;
}

double stage_seconds(double calls_per_second, double uncounted) {
  constexpr double least = 3, most = 20, counted_calls = 100;
  return std::clamp(uncounted + counted_calls / calls_per_second, least, most);
}

}  // namespace kelpcheck
