#include "postgres/conversion.h"

#include <cstdlib>

namespace kelp::postgres {

namespace {

SqlValue to_value(const PGresult *result, int row, int column) {
  if (PQgetisnull(result, row, column)) return {};
  const char *text = PQgetvalue(result, row, column);
  switch (PQftype(result, column)) {
    case kInt2:
    case kInt4:
    case kInt8: return int64_t{std::strtoll(text, nullptr, 10)};
    case kFloat8: return std::strtod(text, nullptr);
    default: return std::string(text);
  }
}

}  // namespace

Parameter to_parameter(const SqlValue &value) {
  if (const auto *number = std::get_if<int64_t>(&value)) return {std::to_string(*number), 0};
  if (const auto *text = std::get_if<std::string>(&value)) return {*text, 0};
  if (const auto *real = std::get_if<double>(&value)) {
    Parameter parameter{{}, kFloat8, true};
    append_big_endian(parameter.bytes, *real);
    return parameter;
  }
  return {{}, 0, false, true};
}

std::vector<SqlRow> to_rows(const PGresult *result) {
  std::vector<SqlRow> rows(PQntuples(result));
  for (int row = 0; row < PQntuples(result); ++row) {
    for (int column = 0; column < PQnfields(result); ++column) {
      rows[row].push_back(to_value(result, row, column));
    }
  }
  return rows;
}

Sample sample_at(const Result &result, int row, int first_column) {
  return {number_at<int32_t>(result, row, first_column),
          number_at<int16_t>(result, row, first_column + 1),
          number_at<double>(result, row, first_column + 2)};
}

std::vector<Sample> to_samples(const Result &result) {
  std::vector<Sample> samples(PQntuples(result.get()));
  for (int row = 0; row < PQntuples(result.get()); ++row) samples[row] = sample_at(result, row, 0);
  return samples;
}

std::vector<Reading> to_readings(const Result &result) {
  std::vector<Reading> readings(PQntuples(result.get()));
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    if (PQgetvalue(result.get(), row, 0)[0] == 0) {
      readings[row].error = kUnknownName;
    } else if (!PQgetisnull(result.get(), row, 1)) {
      readings[row] = {sample_at(result, row, 1), kOk};
    }
  }
  return readings;
}

}  // namespace kelp::postgres
