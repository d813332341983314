// Parameters are bound by position, four to a row.
#include "sqlite/sample_writer.h"

namespace kelp::sqlite {

namespace {

std::string insert_statement(const char *table, const char *conflict, size_t rows) {
  std::string sql = std::string("INSERT INTO ") + table + " (point_id, time, status, value) VALUES";
  for (size_t row = 0; row < rows; ++row) sql += row == 0 ? " (?,?,?,?)" : ", (?,?,?,?)";
  return sql + conflict;
}

}  // namespace

SampleWriter::SampleWriter(const char *table, const char *conflict) {
  for (size_t i = 0; i < kSizes.size(); ++i) {
    statements_[i] = insert_statement(table, conflict, kSizes[i]);
  }
}

void SampleWriter::write(Database &database, const SampleRows &rows,
                         const std::vector<ResultCode> &codes) const {
  size_t left = 0;
  for (const ResultCode code : codes) left += code == kOk;

  size_t row = 0;
  for (size_t i = 0; i < kSizes.size() && left > 0; ++i) {
    if (left < kSizes[i]) continue;
    Statement &insert = database.statement(statements_[i]);
    for (; left >= kSizes[i]; left -= kSizes[i]) {
      int parameter = 0;
      for (size_t taken = 0; taken < kSizes[i]; ++row) {
        if (codes[row] != kOk) continue;
        insert.bind(++parameter, int64_t{rows.ids[row]});
        insert.bind(++parameter, int64_t{rows.times[row]});
        insert.bind(++parameter, int64_t{rows.statuses[row]});
        insert.bind(++parameter, rows.values[row]);
        ++taken;
      }
      insert.run();
    }
  }
}

}  // namespace kelp::sqlite
