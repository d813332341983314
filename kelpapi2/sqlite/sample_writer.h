// Writes columns of samples into one of the tables that hold (point_id, time, status, value), many
// rows per statement: a statement per row spends most of its time on starting and ending.
#pragma once

#include <array>
#include <string>

#include "sqlite/database.h"
#include "store/store.h"

namespace kelp::sqlite {

class SampleWriter {
 public:
  // `conflict` ends each statement: what becomes of a row whose key is there already.
  SampleWriter(const char *table, const char *conflict);

  // Writes the rows whose code is kOk, in order.
  void write(Database &database, const SampleRows &rows,
             const std::vector<ResultCode> &codes) const;

 private:
  // Rows per statement, largest first; the last is 1, so that every count can be made up.
  static constexpr std::array<size_t, 3> kSizes = {64, 8, 1};
  std::array<std::string, kSizes.size()> statements_;
};

}  // namespace kelp::sqlite
