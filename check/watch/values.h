// What a watch writes: value and status follow from seed, point and step, so nothing has to be
// stored to know what must come back. Neighbours in time differ in every kind, so that a row at the
// wrong second is never mistaken for the right one. Journals outlive programs: what is calculated
// here must not change for journals of version 1.
#pragma once

#include <cstdint>

namespace kelpcheck::watch {

struct Written {
  int16_t status;
  double value;
};

// The kind of that point: all but DX, whose one bit would prove nothing.
int32_t watched_kind(int64_t point);

// Seeds are below 2^53, so that every reader of JSON takes them as they are.
inline constexpr uint64_t kSeeds = uint64_t{1} << 53;

Written written_value(uint64_t seed, int64_t point, int64_t step);

// Whether the point belongs to a share of all, 0 to 1, that the seed chooses.
bool in_share(uint64_t seed, int64_t point, double share);

}  // namespace kelpcheck::watch
