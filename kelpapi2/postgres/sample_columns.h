// Samples on their way to the server: put in key order, without repeated keys, and turned into
// columns, one array parameter each.
#pragma once

#include <span>
#include <vector>

#include "postgres/binary.h"
#include "store/store.h"

namespace kelp::postgres {

// The positions of the rows by point and time; the last row of each key only.
std::vector<size_t> in_key_order(const SampleRows &rows);

// The rows at these positions: points, times, statuses, values.
std::vector<Parameter> to_columns(const SampleRows &rows, std::span<const size_t> part);

// Their points in ascending order.
std::vector<int32_t> distinct_ids(const SampleRows &rows, std::span<const size_t> part);

}  // namespace kelp::postgres
