#include "postgres/insertion.h"

#include <algorithm>
#include <bit>

#include "postgres/sample_columns.h"
#include "store/sql_store.h"

namespace kelp::postgres {

namespace {

constexpr const char *kArrays =
    " SELECT * FROM ROWS FROM (pg_catalog.unnest($1), pg_catalog.unnest($2),"
    " pg_catalog.unnest($3), pg_catalog.unnest($4)) AS row";

constexpr size_t kMostListed = 256;  // rows of a statement

// Lists of a power of two are few different statements to prepare.
size_t next_list(size_t rows) { return std::min(std::bit_floor(rows), kMostListed); }

std::string list_of(size_t rows) {
  std::string text = " VALUES ";
  for (size_t row = 0, parameter = 0; row < rows; ++row) {
    text += row == 0 ? "(" : ", (";
    for (int column = 0; column < 4; ++column) {
      text += (column == 0 ? "$" : ", $") + std::to_string(++parameter);
    }
    text += ")";
  }
  return text;
}

std::vector<Parameter> to_list(const SampleRows &rows, std::span<const size_t> part) {
  std::vector<Parameter> parameters;
  for (const size_t row : part) {
    parameters.push_back(int4(rows.ids[row]));
    parameters.push_back(int4(rows.times[row]));
    parameters.push_back(int2(rows.statuses[row]));
    parameters.push_back(float8(rows.values[row]));
  }
  return parameters;
}

void append_statements(std::vector<Command> &commands, const Insertion &insertion,
                       const std::string &source, const std::vector<Parameter> &parameters) {
  const std::string columns = " (point_id, time, status, value)";
  commands.push_back(
      {"INSERT INTO kelp.sample" + columns + source + (insertion.replace ? kReplaceSample : ""),
       parameters});
  if (insertion.kind != WriteKind::realtime) return;
  commands.push_back(
      {"INSERT INTO kelp.current_value" + columns + source + kReplaceCurrentValue, parameters});
}

}  // namespace

void append_insertion(std::vector<Command> &commands, const Insertion &insertion,
                      const SampleRows &rows, std::span<const size_t> part) {
  if (insertion.arrays) {
    append_statements(commands, insertion, kArrays, to_columns(rows, part));
    return;
  }
  while (!part.empty()) {
    const size_t count = next_list(part.size());
    append_statements(commands, insertion, list_of(count), to_list(rows, part.first(count)));
    part = part.subspan(count);
  }
}

}  // namespace kelp::postgres
