// What sequences are made of: times, statuses, values, names and texts, with those at an edge, and
// the random numbers that choose among them, which are the same on every machine.
#pragma once

#include <kelpapi2.h>

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace kelpcheck::explore {

inline constexpr int32_t kEdges[] = {
    INT32_MIN,  INT32_MIN + 1, -86401,     -86400,        -1,         0,          1,
    86399,      86400,         68169600,   946684799,     951782400,  951868800,  1330473600,
    1356998399, 1356998400,    1364691600, 1483228799,    1483228800, 1709164800, 1893456000,
    1924991999, 1924992000,    2147385600, INT32_MAX - 1, INT32_MAX};
inline constexpr int32_t kNear[] = {0,  1,  2,    3,    9,     10,    11,   59,
                                    60, 61, 3599, 3600, 25199, 25200, 86400};
inline constexpr int16_t kStatuses[] = {0,   0,   0,   1,    -1,        127,
                                        128, 255, 256, -256, INT16_MIN, INT16_MAX};
inline constexpr const char *kPlainNames[] = {"P1", "P2", "P10", "A", "TEMPERATURE00000001", "7"};
inline constexpr const char *kOddNames[] = {
    "A_B",
    "AXB",
    "A%",
    "AB C",
    "p-1",
    "\u00d6L",
    "\u6d77\u85fb",
    "'",
    "P1 ",
    "SELECT",
    "L234567890123456789012345678901234567890123456789012345678901234"};
inline constexpr const char *kTexts[] = {"",
                                         "a",
                                         "text",
                                         "two words",
                                         "it's",
                                         "\"",
                                         "50 %",
                                         "\u00e4\u00f6",
                                         "a text of forty characters, as it happens"};

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t x = state_ += 0x9E3779B97F4A7C15;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
    return x ^ (x >> 31);
  }
  size_t below(size_t n) { return next() % n; }
  bool chance(int percent) { return below(100) < static_cast<size_t>(percent); }
  template <typename List>
  const auto &of(const List &list) {
    return list[below(std::size(list))];
  }

 private:
  uint64_t state_;
};

// One that a point of this kind surely holds: a plain one half of the time.
double value_of(Random &random, int32_t kind);

}  // namespace kelpcheck::explore
