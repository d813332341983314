#include "postgres/sample_columns.h"

#include <algorithm>
#include <numeric>

namespace kelp::postgres {

namespace {

// The entries of a column that belong to these rows.
template <typename Number>
Parameter part_of(Oid array, Oid element, std::span<const size_t> rows, const auto &column) {
  const auto entry = [&](size_t i) { return column[rows[i]]; };
  return number_array<Number>(array, element, rows.size(), entry);
}

}  // namespace

std::vector<size_t> in_key_order(const SampleRows &rows) {
  std::vector<size_t> order(rows.count);
  std::iota(order.begin(), order.end(), 0);
  const auto key = [&](size_t row) { return std::pair(rows.ids[row], rows.times[row]); };
  const auto ascending = [&](size_t a, size_t b) { return key(a) < key(b); };
  if (!std::is_sorted(order.begin(), order.end(), ascending)) {
    std::stable_sort(order.begin(), order.end(), ascending);
  }
  // The last of each run of the same key: the first one seen from behind.
  const auto same = [&](size_t a, size_t b) { return key(a) == key(b); };
  const auto kept = std::unique(order.rbegin(), order.rend(), same);
  order.erase(order.begin(), kept.base());
  return order;
}

std::vector<Parameter> to_columns(const SampleRows &rows, std::span<const size_t> part) {
  return {part_of<int32_t>(kInt4Array, kInt4, part, rows.ids),
          part_of<int32_t>(kInt4Array, kInt4, part, rows.times),
          part_of<int16_t>(kInt2Array, kInt2, part, rows.statuses),
          part_of<double>(kFloat8Array, kFloat8, part, rows.values)};
}

std::vector<int32_t> distinct_ids(const SampleRows &rows, std::span<const size_t> part) {
  std::vector<int32_t> ids;
  for (const size_t row : part) {
    if (ids.empty() || ids.back() != rows.ids[row]) ids.push_back(rows.ids[row]);
  }
  return ids;
}

}  // namespace kelp::postgres
