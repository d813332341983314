#include "postgres/conversion.h"

namespace kelp::postgres {

namespace {

SqlValue to_value(const Result &result, int row, int column) {
  if (PQgetisnull(result.get(), row, column)) return {};
  switch (PQftype(result.get(), column)) {
    case kInt2: return int64_t{number_at<int16_t>(result, row, column)};
    case kInt4: return int64_t{number_at<int32_t>(result, row, column)};
    case kInt8: return number_at<int64_t>(result, row, column);
    case kFloat8: return number_at<double>(result, row, column);
    case kText:
      return std::string(PQgetvalue(result.get(), row, column),
                         static_cast<size_t>(PQgetlength(result.get(), row, column)));
    default: fail_malformed();
  }
}

}  // namespace

Parameter to_parameter(const SqlValue &value) {
  if (const auto *number = std::get_if<int64_t>(&value)) return {std::to_string(*number), 0};
  if (const auto *text = std::get_if<std::string>(&value)) return {*text, 0};
  if (const auto *real = std::get_if<double>(&value)) return float8(*real);
  return {{}, 0, false, true};
}

std::vector<SqlRow> to_rows(const Result &result, int columns) {
  std::vector<SqlRow> rows(PQntuples(result.get()));
  if (!rows.empty() && PQnfields(result.get()) != columns) fail_malformed();
  for (size_t row = 0; row < rows.size(); ++row) {
    for (int column = 0; column < columns; ++column) {
      rows[row].push_back(to_value(result, static_cast<int>(row), column));
    }
  }
  return rows;
}

Sample sample_at(const Result &result, int row, int first_column) {
  return {number_at<int32_t>(result, row, first_column),
          number_at<int16_t>(result, row, first_column + 1),
          number_at<double>(result, row, first_column + 2)};
}

std::vector<Reading> to_readings(const Result &result, size_t count) {
  std::vector<Reading> readings(count);
  for (int row = 0; row < rows_of(result, count); ++row) {
    if (!bool_at(result, row, 0)) {
      readings[row].error = kUnknownName;
    } else if (!PQgetisnull(result.get(), row, 1)) {
      readings[row] = {sample_at(result, row, 1), kOk};
    }
  }
  return readings;
}

}  // namespace kelp::postgres
