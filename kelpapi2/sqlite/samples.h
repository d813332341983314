// All samples of a store, merged into their table or staged on the way there. What is staged was
// written later than what is merged; reading takes that into account, and writes nothing. Merging
// is part of writing: a call merges about as many samples as it writes, whatever is staged.
//
// Everything runs inside a transaction of the caller's, and on points that exist.
#pragma once

#include "sqlite/key_order.h"
#include "sqlite/staging.h"
#include "store/history.h"

namespace kelp::sqlite {

class Samples {
 public:
  explicit Samples(Database &database);

  // Writes the rows whose code is kOk; of rows of one point and time the last counts.
  void write(WriteKind kind, const SampleRows &rows, const std::vector<ResultCode> &codes);

  // A sample for each point, nothing where there is none.
  std::vector<std::optional<Sample>> current(std::span<const int32_t> points);
  std::vector<std::optional<Sample>> as_of(std::span<const int32_t> points, int32_t time);
  // Reads the samples of points in a range; a point with the id 0 does not exist.
  void history(std::span<const int32_t> points, const Intervals &range, HistoryRows &rows);

  // Deletes at most `limit` samples of a point that exists no longer, and returns their number;
  // with the last of them, when they are fewer, all else that there is of it.
  int64_t erase(int32_t point, int64_t limit);

 private:
  // Whether rows of a bucket can go into the table now. Merges the backlog if it has to and may:
  // `allowance` is how many staged samples the call may still merge.
  bool make_way(Backlog &backlog, const SampleRows &rows, std::span<const KeyedRow> part,
                int64_t &allowance);
  void write_merged(const SampleRows &rows, std::span<const KeyedRow> part);
  // Merges the fullest of the buckets that are due.
  void merge_due(std::vector<Backlog> &due, int64_t allowance);
  // Merges what the allowance suffices for, the oldest blocks first, and takes it from there.
  void merge(Backlog &backlog, int64_t &allowance);
  PointSet existing_points(int32_t bucket);

  Database &database_;
  Staging staging_;
  SampleWriter merged_;
  SampleWriter merged_values_;
};

}  // namespace kelp::sqlite
