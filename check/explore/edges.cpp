#include "explore/edges.h"

#include <cfloat>

namespace kelpcheck::explore {

double value_of(Random &random, int32_t kind) {
  static const double reals[] = {
      0,       1,        -1,      0.1,   -0.1,    1.0 / 3,         123456.789,
      DBL_MAX, -DBL_MAX, DBL_MIN, 1e100, -1e-300, 9007199254740991};
  static const double floats[] = {0,       1,        -1,      0.1F,     -0.1F,
                                  FLT_MAX, -FLT_MAX, FLT_MIN, 16777215, 1.0F / 3};
  static const double longs[] = {0, 1, -1, INT32_MAX, INT32_MIN, 65536, 16777217};
  static const double shorts[] = {0, 1, -1, INT16_MAX, INT16_MIN, 255, 256};
  const bool plain = random.chance(50);
  const auto small = static_cast<double>(random.below(100));
  switch (kind) {
    case DX: return static_cast<double>(random.below(2));
    case R8: return plain ? small + 0.5 : random.of(reals);
    case I4: return plain ? small : random.of(longs);
    case I2: return plain ? small : random.of(shorts);
    default: return plain ? small + 0.25 : random.of(floats);
  }
}

}  // namespace kelpcheck::explore
