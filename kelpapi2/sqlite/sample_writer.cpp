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

SampleWriter::SampleWriter(Database &database, const char *table, const char *conflict)
    : database_(database) {
  for (size_t i = 0; i < kSizes.size(); ++i) {
    statements_[i] = insert_statement(table, conflict, kSizes[i]);
  }
}

void SampleWriter::write(std::span<const PointSample> samples) const {
  for (size_t i = 0; i < kSizes.size() && !samples.empty(); ++i) {
    if (samples.size() < kSizes[i]) continue;
    Statement &insert = database_.statement(statements_[i]);
    for (; samples.size() >= kSizes[i]; samples = samples.subspan(kSizes[i])) {
      int parameter = 0;
      for (const auto &[point, sample] : samples.first(kSizes[i])) {
        insert.bind(++parameter, int64_t{point});
        insert.bind(++parameter, int64_t{sample.time});
        insert.bind(++parameter, int64_t{sample.status});
        insert.bind(++parameter, sample.value);
      }
      insert.run();
    }
  }
}

}  // namespace kelp::sqlite
