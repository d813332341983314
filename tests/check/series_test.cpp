// What the data of a run covers.
#include "probe/series.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <map>

namespace kelpcheck {

namespace {

constexpr int64_t kRows = 360;
constexpr uint32_t kPoints = 50;

// The bits with which a kind holds a value: of an integer all, of a real number its sign and its
// significand. A bit that is never 1, or never 0, is one that a server may lose unseen.
uint64_t bits_of(int32_t kind, double value) {
  if (kind == I2) return static_cast<uint16_t>(static_cast<int16_t>(value));
  if (kind == I4) return static_cast<uint32_t>(static_cast<int32_t>(value));
  if (kind == DX) return static_cast<uint64_t>(value);
  if (kind == AX) {
    const auto narrow = static_cast<float>(value);
    uint32_t bits = 0;
    std::memcpy(&bits, &narrow, sizeof bits);
    return (bits & 0x7FFFFF) | bits >> 31 << 23;
  }
  uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return (bits & 0xFFFFFFFFFFFFF) | bits >> 63 << 52;
}

// The value once a variable of the kind has held it.
double as_held(int32_t kind, double value) {
  switch (kind) {
    case AX: return static_cast<float>(value);
    case I2: return static_cast<int16_t>(value);
    case I4: return static_cast<int32_t>(value);
    case DX: return value == 0 ? 0 : 1;
    default: return value;
  }
}

int width_of(int32_t kind) {
  return std::map<int32_t, int>{{I2, 16}, {I4, 32}, {DX, 1}, {AX, 24}, {R8, 53}}.at(kind);
}

struct Bits {
  uint64_t ones = 0, zeros = 0;
  void add(uint64_t bits) {
    ones |= bits;
    zeros |= ~bits;
  }
  bool all(int width) const {
    const uint64_t mask = (uint64_t{1} << width) - 1;
    return (ones & mask) == mask && (zeros & mask) == mask;
  }
};

}  // namespace

TEST(Series, UsesEveryBitThatAKindCanHold) {
  for (const int32_t kind : kKinds) {
    Bits values, statuses;
    const Series series(kind, 3, 5);
    for (int64_t row = 0; row < kRows; ++row) {
      const double value = series.value(row);
      values.add(bits_of(kind, value));
      statuses.add(static_cast<uint16_t>(series.status(row)));
      EXPECT_EQ(value, as_held(kind, value)) << name_of_kind(kind);
    }
    EXPECT_TRUE(values.all(width_of(kind))) << name_of_kind(kind);
    EXPECT_TRUE(statuses.all(16)) << name_of_kind(kind);
  }
}

// Of each point: 0 and small statuses are what servers that do nothing with them have at best.
TEST(Series, HasSmallStatusesAndZeroAndBothSigns) {
  for (uint32_t point = 0; point < kPoints; ++point) {
    std::map<int16_t, int> small;
    int wide = 0, negative = 0;
    const Series series(R8, point, 0);
    for (int64_t row = 0; row < kRows; ++row) {
      const int16_t status = series.status(row);
      if (std::abs(status) < 128) ++small[status];
      wide += std::abs(status) > 255 ? 1 : 0;
      negative += status < -255 ? 1 : 0;
    }
    for (const int16_t status : {-1, 0, 1, 2})
      EXPECT_GT(small[status], 0) << point << " " << status;
    EXPECT_GT(wide, kRows / 2) << point;
    EXPECT_GT(negative, kRows / 8) << point;
  }
}

// In row, in point and in salt: a server that confuses two of them is seen, whatever their kind.
TEST(Series, HasNoTwoNeighboursAlike) {
  for (const int32_t kind : kKinds) {
    const auto at = [&](uint32_t point, uint32_t salt, int64_t row) {
      const Series series(kind, point, salt);
      return std::pair(series.status(row), series.value(row));
    };
    for (uint32_t point = 0; point < 10; ++point) {
      for (uint32_t salt = 0; salt < 5; ++salt) {
        for (int64_t row = 0; row < kRows; ++row) {
          const auto here = at(point, salt, row);
          ASSERT_NE(here, at(point, salt, row + 1)) << name_of_kind(kind) << " " << row;
          ASSERT_NE(here, at(point + 1, salt, row)) << name_of_kind(kind) << " " << row;
          ASSERT_NE(here, at(point, salt + 1, row)) << name_of_kind(kind) << " " << row;
        }
      }
    }
  }
}

TEST(Series, HasTimesInOrderWithinItsLengthAndOffTheFullTens) {
  for (const int64_t rows : {1, 15, 16, 17, 360, 100'000}) {
    const Series series(R8, 7, 1);
    int32_t last = -1;
    for (int64_t row = 0; row < rows; ++row) {
      ASSERT_GT(series.offset(row), last);
      last = series.offset(row);
      ASSERT_NE(last % 10, 0);
    }
    EXPECT_GT(Series::length(rows), last + 1);
    EXPECT_EQ(Series::length(rows) % 100, 0);
  }
}

TEST(Extremes, AreTheEndsOfWhatAKindCanHold) {
  const std::map<int32_t, std::pair<double, double>> ends = {
      {R8, {-1.7976931348623157e308, 1.7976931348623157e308}},
      {AX, {-3.4028234663852886e38, 3.4028234663852886e38}},
      {I4, {-2147483648.0, 2147483647.0}},
      {I2, {-32768, 32767}},
      {DX, {0, 1}}};
  for (const auto &[kind, end] : ends) {
    std::vector<double> values;
    std::vector<int> statuses;
    for (size_t i = 0; i < kExtremes; ++i) {
      values.push_back(extreme(kind, i, 0).value);
      statuses.push_back(extreme(kind, i, 0).status);
    }
    EXPECT_THAT(values, testing::IsSupersetOf({end.first, end.second})) << name_of_kind(kind);
    EXPECT_THAT(statuses, testing::IsSupersetOf({INT16_MIN, -1, 0, 127, 128, 255, 256, INT16_MAX}));
  }
}

}  // namespace kelpcheck
