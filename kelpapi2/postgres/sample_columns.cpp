#include "postgres/sample_columns.h"

#include <algorithm>
#include <numeric>

namespace kelp::postgres {

std::vector<size_t> in_key_order(const SampleRows &rows) {
  const auto key = [&](size_t row) { return std::pair(rows.ids[row], rows.times[row]); };
  std::vector<size_t> order(rows.count);
  std::iota(order.begin(), order.end(), 0);
  const auto ascending = [&](size_t a, size_t b) { return key(a) < key(b); };
  const auto same = [&](size_t a, size_t b) { return key(a) == key(b); };
  if (!std::is_sorted(order.begin(), order.end(), ascending)) {
    std::stable_sort(order.begin(), order.end(), ascending);
  }
  // The last of each run of the same key: the first one seen from behind.
  order.erase(order.begin(), std::unique(order.rbegin(), order.rend(), same).base());
  return order;
}

std::vector<Parameter> to_columns(const SampleRows &rows, std::span<const size_t> part) {
  const auto column = [&]<typename Number>(Oid type, Oid element, Number, const auto &entries) {
    return number_array<Number>(type, element, part.size(),
                                [&](size_t i) { return entries[part[i]]; });
  };
  return {column(kInt4Array, kInt4, int32_t{}, rows.ids),
          column(kInt4Array, kInt4, int32_t{}, rows.times),
          column(kInt2Array, kInt2, int16_t{}, rows.statuses),
          column(kFloat8Array, kFloat8, double{}, rows.values)};
}

std::vector<int32_t> distinct_ids(const SampleRows &rows, std::span<const size_t> part) {
  std::vector<int32_t> ids;
  for (const size_t row : part) {
    if (ids.empty() || ids.back() != rows.ids[row]) ids.push_back(rows.ids[row]);
  }
  return ids;
}

}  // namespace kelp::postgres
