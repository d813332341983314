#include "sqlite/key_order.h"

#include <algorithm>

namespace kelp::sqlite {

std::vector<KeyedRow> in_key_order(const SampleRows &rows, const std::vector<ResultCode> &codes) {
  std::vector<KeyedRow> order;
  order.reserve(rows.count);
  for (uint32_t row = 0; row < rows.count; ++row) {
    if (codes[row] == kOk) order.push_back({key_of(rows.ids[row], rows.times[row]), row});
  }
  if (!std::is_sorted(order.begin(), order.end())) std::sort(order.begin(), order.end());
  const auto same_key = [](const KeyedRow &a, const KeyedRow &b) { return a.key == b.key; };
  const auto kept = std::unique(order.rbegin(), order.rend(), same_key);
  order.erase(order.begin(), kept.base());
  return order;
}

size_t count_points(std::span<const KeyedRow> order) {
  size_t points = 0;
  for (size_t i = 0; i < order.size(); ++i) {
    const bool new_point = i == 0 || order[i].point() != order[i - 1].point();
    if (new_point) ++points;
  }
  return points;
}

std::vector<PointSample> samples_of(const SampleRows &rows, std::span<const KeyedRow> order) {
  std::vector<PointSample> samples;
  samples.reserve(order.size());
  for (const auto &[key, row] : order) {
    samples.push_back({rows.ids[row], {rows.times[row], rows.statuses[row], rows.values[row]}});
  }
  return samples;
}

}  // namespace kelp::sqlite
