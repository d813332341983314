// The rows of a call in the order of the table that they are for: by point and time.
#pragma once

#include <compare>
#include <cstdint>
#include <span>
#include <vector>

#include "sqlite/sample_writer.h"

namespace kelp::sqlite {

// Orders like a point and a time, as one number that is quick to compare.
inline uint64_t key_of(int32_t point, int32_t time) {
  constexpr uint32_t sign = 0x80000000;  // turned over, so that negative times come first
  return uint64_t{static_cast<uint32_t>(point)} << 32 | (static_cast<uint32_t>(time) ^ sign);
}

struct KeyedRow {
  uint64_t key;
  uint32_t row;  // of the call
  int32_t point() const { return static_cast<int32_t>(key >> 32); }
  auto operator<=>(const KeyedRow &) const = default;
};

// The rows whose code is kOk, of each key only the last one.
std::vector<KeyedRow> in_key_order(const SampleRows &rows, const std::vector<ResultCode> &codes);

size_t count_points(std::span<const KeyedRow> order);

std::vector<PointSample> samples_of(const SampleRows &rows, std::span<const KeyedRow> order);

}  // namespace kelp::sqlite
