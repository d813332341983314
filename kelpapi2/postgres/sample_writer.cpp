// Samples are inserted plainly, which takes two thirds of the time of an insert that may also
// replace. One that meets a sample of the same time is done again as such, and so are the next
// ones: a program that overwrites once usually goes on.
#include "postgres/sample_writer.h"

#include <algorithm>

#include "postgres/retry.h"
#include "postgres/sample_columns.h"

namespace kelp::postgres {

namespace {

// A call of more rows takes several statements in its one transaction, so that the server need not
// stay silent for long.
constexpr size_t kRowsPerStatement = 16384;
constexpr int kUpsertsAfterConflict = 64;

// The points in $1, $2 in number, held for as long as the transaction lasts. One that is gone makes
// the statement fail with words that end up in the server's log too.
constexpr std::string_view kDeletedMeanwhile = "a point was deleted at the same time";
std::string hold_points(const std::string &lock) {
  return "SELECT CASE WHEN count(*) = $2 THEN 1 ELSE CAST ('" + std::string(kDeletedMeanwhile) +
         ", left are ' || CAST (count(*) AS text) AS int4) END"
         " FROM (SELECT 1 FROM kelp.object WHERE id = ANY ($1) AND " +
         kIsPoint + " ORDER BY id " + lock + ") AS held";
}
const std::string kHoldPoints = hold_points("FOR KEY SHARE");
const std::string kHoldPointsInTurn = hold_points("FOR NO KEY UPDATE");

Command hold(const std::string &statement, const std::vector<int32_t> &points) {
  return {statement, {int4_array(points), int4(static_cast<int32_t>(points.size()))}};
}

}  // namespace

std::vector<ResultCode> SampleWriter::write(WriteKind kind, const SampleRows &rows) {
  std::vector<ResultCode> codes(rows.count, kOk);
  const auto deadline = Clock::now() + session_.bound();
  for (int unexplained = 0;;) {
    const Batch batch = make_batch(kind, rows, codes);
    try {
      retried(session_, [&] { write_batch(batch); });
      if (!batch.plainly && upserts_left_ > 0) --upserts_left_;
      return codes;
    } catch (const SqlFailure &failure) {
      if (failure.says(kDeletedMeanwhile)) {
        if (Clock::now() > deadline) throw Failure(kConflict, failure.what());
        notice_deletions(batch, unexplained);
      } else if (batch.plainly && is_key_conflict(failure.state())) {
        upserts_left_ = kUpsertsAfterConflict;
      } else {
        throw;
      }
    }
  }
}

// Leaves out the rows whose point does not exist, and sets their codes.
SampleWriter::Batch SampleWriter::make_batch(WriteKind kind, const SampleRows &rows,
                                             std::vector<ResultCode> &codes) {
  const bool plainly = session_.engine().inserts_arrays && upserts_left_ == 0;
  Batch batch{kind, rows, in_key_order(rows), {}, plainly};
  batch.points = distinct_ids(rows, batch.order);
  const std::vector<int32_t> missing = points_.missing(batch.points);
  if (missing.empty()) return batch;
  const auto is_missing = [&](int32_t id) {
    return std::binary_search(missing.begin(), missing.end(), id);
  };
  for (size_t row = 0; row < rows.count; ++row) {
    if (is_missing(rows.ids[row])) codes[row] = kUnknownName;
  }
  std::erase_if(batch.order, [&](size_t row) { return is_missing(rows.ids[row]); });
  std::erase_if(batch.points, is_missing);
  return batch;
}

void SampleWriter::write_batch(const Batch &batch) {
  if (batch.order.empty()) return;
  if (batch.order.size() > kRowsPerStatement) return write_in_turn(batch);
  std::vector<Command> commands{hold(kHoldPoints, batch.points)};
  append_insertion(commands, {batch.kind, session_.engine().inserts_arrays, !batch.plainly},
                   batch.rows, batch.order);
  session_.transact(commands);
}

// Having waited for its turn it keeps it, also where a plain insert meets a sample.
void SampleWriter::write_in_turn(const Batch &batch) {
  Insertion insertion{batch.kind, session_.engine().inserts_arrays, !batch.plainly};
  session_.begin();
  try {
    session_.exchange({hold(kHoldPointsInTurn, batch.points), {"SAVEPOINT held"}});
    try {
      insert_parts(batch, insertion);
    } catch (const SqlFailure &failure) {
      if (!batch.plainly || !is_key_conflict(failure.state())) throw;
      upserts_left_ = kUpsertsAfterConflict;
      insertion.replace = true;
      session_.exchange({{"ROLLBACK TO SAVEPOINT held"}});
      insert_parts(batch, insertion);
    }
    session_.commit();
  } catch (...) {
    session_.roll_back();
    throw;
  }
}

void SampleWriter::insert_parts(const Batch &batch, const Insertion &insertion) {
  for (std::span<const size_t> left(batch.order); !left.empty();) {
    const size_t count = std::min(kRowsPerStatement, left.size());
    std::vector<Command> commands;
    append_insertion(commands, insertion, batch.rows, left.first(count));
    session_.exchange(commands);
    left = left.subspan(count);
  }
}

// A statement found fewer points than there were: asks for them again. Twice with all of them
// there, and it is not for a deletion.
void SampleWriter::notice_deletions(const Batch &batch, int &unexplained) {
  const std::vector<bool> existing = points_.ask(batch.points);
  if (std::find(existing.begin(), existing.end(), false) != existing.end()) return;
  if (++unexplained < 2) return;
  throw Failure(kDenied,
                session_.server() + ": this user may lock fewer rows of kelp.object than it sees");
}

}  // namespace kelp::postgres
