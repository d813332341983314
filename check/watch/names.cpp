#include "watch/names.h"

#include <algorithm>
#include <charconv>

#include "result/text.h"
#include "result/times.h"

namespace kelpcheck::watch {

namespace {

const std::string kSeed = ", seed ";

}  // namespace

Span WatchNames::points_of(int64_t node) const {
  return {node * kPointsPerNode, std::min((node + 1) * kPointsPerNode, points_) - 1};
}

std::string WatchNames::node(int64_t number) const { return numbered(prefix_, 2, number + 1); }

std::string WatchNames::point(int64_t number) const { return numbered("P", 5, number + 1); }

std::string WatchNames::full_node(int64_t number) const { return database_ + "." + node(number); }

std::string WatchNames::full_point(int64_t number) const {
  return full_node(number / kPointsPerNode) + "." + point(number);
}

std::string watch_mark(uint64_t seed, int64_t first) {
  const std::string begin = kWatchMark + kSeed + std::to_string(seed);
  return first == 0 ? begin : begin + ", first step " + iso_text(static_cast<double>(first));
}

std::optional<uint64_t> seed_of_mark(const std::string &text) {
  const std::string begin = kWatchMark + kSeed;
  if (!text.starts_with(begin)) return std::nullopt;
  uint64_t seed = 0;
  const char *const digits = text.data() + begin.size();
  const auto [end, error] = std::from_chars(digits, text.data() + text.size(), seed);
  if (error != std::errc() || end == digits) return std::nullopt;
  return seed;
}

}  // namespace kelpcheck::watch
