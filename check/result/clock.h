// The clock that durations are measured with.
#pragma once

#include <cstdint>

namespace kelpcheck {

// Nanoseconds of a clock that only goes forward, the same in all processes of this host.
int64_t now_ns();
inline double seconds_since(int64_t start) { return static_cast<double>(now_ns() - start) / 1e9; }

}  // namespace kelpcheck
