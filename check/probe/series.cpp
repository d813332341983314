#include "probe/series.h"

#include <cfloat>
#include <cmath>

namespace kelpcheck {

const char *name_of_kind(int32_t kind) {
  switch (kind) {
    case AX: return "AX";
    case DX: return "DX";
    case I2: return "I2";
    case I4: return "I4";
    default: return "R8";
  }
}

Sample extreme(int32_t kind, size_t number, int32_t time) {
  static const int16_t statuses[kExtremes] = {INT16_MIN, -256, -1,  0,   1,
                                              127,       128,  255, 256, INT16_MAX};
  static const std::vector<double> of_kinds[] = {
      {-0.1F, FLT_MAX, -FLT_MAX, FLT_MIN, 16777215, -1.0F / 3},
      {1, 0},
      {-77, INT16_MAX, INT16_MIN, -1, 256, 0},
      {-77777, INT32_MAX, INT32_MIN, -1, 65536, 16777217},
      {-0.1, DBL_MAX, -DBL_MAX, DBL_MIN, DBL_TRUE_MIN, 1.0 / 3, -1e-300, 9007199254740991}};
  const std::vector<double> &values = of_kinds[kind - AX];
  return {time, statuses[number], values[number % values.size()]};
}

uint64_t Series::hash(int64_t row, uint64_t use) const {
  uint64_t x = static_cast<uint64_t>(row) * 0x9E3779B97F4A7C15 + point_ * 0xD1B54A32D192ED03 +
               (uint64_t{salt_} * 8 + use + 1) * 0x8CB92BA72F3D8DD7;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
  return x ^ (x >> 31);
}

// Every fifth is 0 or small; the others need all of their 16 bits. The last two bits tell it from
// its neighbours, whose values may be the same: DX has only two.
int16_t Series::status(int64_t row) const {
  const uint64_t bits = hash(row, 0);
  const int turn = static_cast<int>((static_cast<uint64_t>(row) + 2 * point_ + salt_) % 4);
  const bool small = (bits >> 48) % 5 == 0 && row != 0;
  if (small) return static_cast<int16_t>(turn == 3 ? -1 : turn);
  const uint64_t second_highest = bits >> 32 & 0x4000;
  return static_cast<int16_t>((bits & 0xBFFC) | 0x0100 | second_highest | turn);
}

double Series::value(int64_t row) const {
  const uint64_t bits = hash(row, 1);
  if (kind_ == DX) return static_cast<double>(bits & 1);
  // A parabola for each half of the wave, between -1 and 1, and a little noise.
  const auto step = static_cast<double>((row * 37 + hash(0, 2) % 900 + 1100) % 1800);
  const double phase = step / 900 - 1;
  const double wave = 4 * phase * (1 - std::abs(phase));
  const double noise = static_cast<double>(static_cast<int64_t>(bits) >> 11) * 0x1p-52;
  const double size = 0.9 * wave + 0.1 * noise;
  switch (kind_) {
    case AX: return static_cast<float>(size * 250 * (1 + point_ % 7));
    case I2: return std::round(size * INT16_MAX);
    case I4: return std::round(size * INT32_MAX);
    default: return size * 1000 * (1 + point_ % 7);
  }
}

int32_t Series::offset(int64_t row) const {
  const auto jitter = static_cast<int64_t>(hash(row, 3) % 9);
  const int64_t gaps = row / 16 * 100;
  return static_cast<int32_t>(row * 10 + gaps + 1 + jitter);
}

}  // namespace kelpcheck
