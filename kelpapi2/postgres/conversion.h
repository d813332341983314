// Between the values that a store works with and those of PostgreSQL's parameters and results. What
// a result must look like is checked here and in binary.h: if a server answers anything else, the
// call fails and no harm is done.
#pragma once

#include <vector>

#include "postgres/binary.h"
#include "store/sql_store.h"

namespace kelp::postgres {

Parameter to_parameter(const SqlValue &value);

// The rows of a result, which have this many columns.
std::vector<SqlRow> to_rows(const Result &result, int columns);

// The sample in three columns of a result: time, status, value.
Sample sample_at(const Result &result, int row, int first_column);

// A reading for each of `count` rows: whether the point is known, time, status, value; the last
// three are null without a value.
std::vector<Reading> to_readings(const Result &result, size_t count);

}  // namespace kelp::postgres
