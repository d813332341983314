#include "watch/values.h"

#include <kelpapi2.h>

#include <iterator>

namespace kelpcheck::watch {

namespace {

constexpr int32_t kWatchedKinds[] = {R8, AX, I4, I2};

uint64_t mixed(uint64_t x) {
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
  return x ^ (x >> 31);
}

uint64_t hash_of(uint64_t seed, int64_t point) {
  return mixed(seed * 0x9E3779B97F4A7C15 + static_cast<uint64_t>(point) * 0xD1B54A32D192ED03 + 1);
}

// A walk through all numbers of so many bits in steps of the same odd size: each comes once before
// one comes again.
int64_t walk(uint64_t start, int64_t step, int bits) {
  const uint64_t size = uint64_t{1} << bits;
  const uint64_t stride = size / 21 * 8 | 1;
  const uint64_t at = (start + static_cast<uint64_t>(step) * stride) & (size - 1);
  return static_cast<int64_t>(at) - static_cast<int64_t>(size / 2);
}

// A third is 0, a third small, and the others need all their bits.
int16_t status_of(uint64_t bits) {
  switch (bits % 3) {
    case 0: return 0;
    case 1: return static_cast<int16_t>(static_cast<int>(bits >> 32 & 7) - 3);
    default: return static_cast<int16_t>(bits >> 48);
  }
}

}  // namespace

int32_t watched_kind(int64_t point) {
  return kWatchedKinds[static_cast<size_t>(point) % std::size(kWatchedKinds)];
}

Written written_value(uint64_t seed, int64_t point, int64_t step) {
  const uint64_t start = hash_of(seed, point);
  const uint64_t bits = mixed(start + static_cast<uint64_t>(step) * 0x8CB92BA72F3D8DD7);
  const auto value = [&]() -> double {
    switch (watched_kind(point)) {
      case I2: return static_cast<double>(walk(start, step, 16));
      case I4: return static_cast<double>(walk(start, step, 32));
      case AX: return static_cast<double>(walk(start, step, 24)) / 1024;  // exact in 32 bits
      default: return static_cast<double>(walk(start, step, 52)) / 1048576;
    }
  };
  return {status_of(bits), value()};
}

bool in_share(uint64_t seed, int64_t point, double share) {
  constexpr int kDigits = 53;
  const uint64_t draw = mixed(hash_of(seed, point) + 0x5851F42D4C957F2D) >> (64 - kDigits);
  return static_cast<double>(draw) < share * static_cast<double>(uint64_t{1} << kDigits);
}

}  // namespace kelpcheck::watch
