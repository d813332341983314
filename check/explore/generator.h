// Makes random sequences: any operation in any order, on few points and few times, so that calls
// affect each other, and often with values at an edge. The same seed and number give the same
// sequence.
#pragma once

#include "explore/calls.h"

namespace kelpcheck::explore {

// What sequences may be made of.
struct Material {
  uint64_t seed = 1;
  int32_t base = 1346432400;  // where plain times are
  int64_t rows_per_call = 0;  // at most, 0 for any number
  bool odd_names = true;      // such as names of 64 bytes or with other letters than A to Z
  bool before_1970 = true;    // times
};

Sequence make_sequence(const Material &material, uint64_t number);

// Names that no object has: what is asked for by them is not there.
inline constexpr const char *kNobody = "NOBODY";

}  // namespace kelpcheck::explore
