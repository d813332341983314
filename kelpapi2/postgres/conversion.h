// Between the values that a store works with and those of PostgreSQL's parameters and results.
#pragma once

#include <vector>

#include "postgres/binary.h"
#include "store/sql_store.h"

namespace kelp::postgres {

Parameter to_parameter(const SqlValue &value);

// The rows of a result in text form.
std::vector<SqlRow> to_rows(const PGresult *result);

// The sample in three columns of a binary result: time, status, value.
Sample sample_at(const Result &result, int row, int first_column);

// The same of every row of a binary result.
std::vector<Sample> to_samples(const Result &result);

// A reading per row of a binary result: whether the point is known, time, status, value; the last
// three are null without a value.
std::vector<Reading> to_readings(const Result &result);

}  // namespace kelp::postgres
