// Conversion between calendar fields and times: UTC, proleptic Gregorian.
#pragma once

#include <cstdint>

namespace kelp {

struct CalendarTime {
  int32_t year, month, day, hour, minute, second;
};

// Fields outside their usual range carry over, as 60 minutes into the next hour; a moment outside
// the scale of times gives the nearest end of the scale.
int32_t encode_time(const CalendarTime &fields);
CalendarTime decode_time(int32_t time);

}  // namespace kelp
