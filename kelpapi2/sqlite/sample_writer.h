// Writes samples into one of the tables that hold (point_id, time, status, value), many rows per
// statement: a statement per row spends most of its time on starting and ending.
#pragma once

#include <array>
#include <string>

#include "sqlite/database.h"
#include "store/store.h"

namespace kelp::sqlite {

struct PointSample {
  int32_t point;
  Sample sample;
};

class SampleWriter {
 public:
  // `conflict` ends each statement: what becomes of a row whose key is there already.
  SampleWriter(Database &database, const char *table, const char *conflict);

  // Writes the samples in their order, which is best the table's own.
  void write(std::span<const PointSample> samples) const;

 private:
  // Rows per statement, largest first; the last is 1, so that every count can be made up.
  static constexpr std::array<size_t, 3> kSizes = {64, 8, 1};

  Database &database_;
  std::array<std::string, kSizes.size()> statements_;
};

}  // namespace kelp::sqlite
