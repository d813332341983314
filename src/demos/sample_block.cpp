// Counts and times are worked out in 64 bits: the ends of a range can lie further apart than an
// int32 holds, and an offset can carry a time past the end of the scale.
#include "demos/sample_block.h"

#include <algorithm>
#include <limits>

#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"

int32_t clamp_time(int64_t time) {
  using Limits = std::numeric_limits<int32_t>;
  return static_cast<int32_t>(std::clamp<int64_t>(time, Limits::min(), Limits::max()));
}

int32_t step_count() {
  const int64_t seconds = int64_t{argument_.end_time} - argument_.begin_time;
  const int64_t steps = (seconds + argument_.interval - 1) / argument_.interval;
  return static_cast<int32_t>(std::max<int64_t>(steps, 0));
}

int32_t step_time(int32_t offset, int32_t step) {
  return clamp_time(int64_t{argument_.begin_time} + offset + int64_t{step} * argument_.interval);
}

SampleBlock make_sample_block(int32_t offset) {
  const int32_t count = step_count();
  SampleBlock block{count, std::vector<int32_t>(count), std::vector<int16_t>(count),
                    std::vector<double>(count)};
  for (int32_t j = 0; j < count; ++j) {
    block.times[j] = step_time(offset, j);
    block.values[j] = step_value(j);
  }
  return block;
}

void write_block_to_every_point(bool display, int32_t offset, WriteBlock write, const char *fatal,
                                const char *refused) {
  const SampleBlock block = make_sample_block(offset);
  int32_t error = 0;
  for (int32_t p = 0; p < point_count(); ++p) {
    show_progress(p, point_count(), "points");
    const int32_t result = write(p, block, &error);
    if (result != 0) fail(display, fatal, result);
    if (error != 0) show_line(display, refused, argument_.point_ids[p], error);
  }
}
