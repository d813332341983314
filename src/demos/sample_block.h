// The block of samples that the history and cache demonstrations write to every test point, and the
// steps of the time range that it shares with the snapshots.
#pragma once

#include <cstdint>
#include <vector>

// Seconds from argument_.begin_time to what each family writes, so that with a range of an hour no
// two blocks overlap.
constexpr int32_t history_byid_offset = 0;
constexpr int32_t history_byname_offset = 3600;
constexpr int32_t cache_offset = 7200;
constexpr int32_t cache_one_offset = 10800;
constexpr int32_t snapshot_offset = 14400;

// The nearest time that an int32 holds.
int32_t clamp_time(int64_t time);

// Whole or partial intervals between argument_.begin_time and end_time; 0 for a reversed range.
int32_t step_count();

// The time of a step, counted from argument_.begin_time + offset.
int32_t step_time(int32_t offset, int32_t step);

// The value that every family writes in a step.
constexpr double step_value(int32_t step) { return step + 0.123; }

// One sample per step.
struct SampleBlock {
  int32_t count;
  std::vector<int32_t> times;
  std::vector<int16_t> statuses;  // all 0
  std::vector<double> values;
};

SampleBlock make_sample_block(int32_t offset);

// Writes the block to the test point at a position of argument_.point_names and point_ids.
using WriteBlock = int32_t (*)(int32_t position, const SampleBlock &block, int32_t *error);

// Writes one block to every test point, a call each. `fatal` is the line of a failed call, with its
// result; `refused` that of a refused point, with its id and error.
void write_block_to_every_point(bool display, int32_t offset, WriteBlock write, const char *fatal,
                                const char *refused);
