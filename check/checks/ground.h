// Points with a memory: what was acknowledged of each goes into its ledger, and what is read is
// compared with what the ledger allows. A write that the server refuses openly leaves it open
// whether anything was stored.
#pragma once

#include <optional>

#include "checks/settle.h"
#include "habits/ledger.h"

namespace kelpcheck {

class Ground {
 public:
  explicit Ground(Bed &bed);

  Bed &bed;
  std::vector<Ledger> ledgers;  // of the bed's points

  // Write rows; "" where all were taken, else how the server refused.
  std::string history(size_t point, const std::vector<Sample> &rows, bool by_name = false);
  std::string current(const std::vector<size_t> &points, int32_t time,
                      const std::vector<Sample> &rows);
  std::string snapshot(const std::vector<size_t> &points, int32_t time,
                       const std::vector<Sample> &rows);
  std::string cache(const std::vector<size_t> &points, const std::vector<Sample> &rows);
  std::string cache_one(size_t point, const std::vector<Sample> &rows);

  // Reads the history of these points over a range, in one call, until it is what the ledgers
  // allow. Rows at the end itself narrow the question whether it belongs to the range.
  void expect_history(const std::vector<size_t> &points, bool by_name, int32_t begin, int32_t end);
  // From now on a range that goes beyond this one may be refused openly.
  void tolerate_refusals_beyond(int32_t begin, int32_t end);
  // The same for all that the point has, and as far as a range can be wider.
  void expect_everything(size_t point, bool by_name = false);
  void expect_current(const std::vector<size_t> &points, bool by_name);

 private:
  std::string enter(Way way, const std::vector<size_t> &points, const std::vector<Sample> &rows,
                    const std::function<Out<int32_t>()> &write);
  std::optional<History> history_or_nothing(const std::vector<size_t> &points, bool by_name,
                                            int32_t begin, int32_t end);
  std::optional<Readings> values_or_nothing(const std::vector<size_t> &points, bool by_name);
  Seen compare(Evidence &e, size_t point, const std::vector<Sample> &rows, int32_t begin,
               int32_t end);
  Seen compare_moment(Evidence &e, size_t point, int32_t time, const Alternative &have);
  void learn_from(size_t point, const std::vector<Sample> &rows, int32_t end);

  bool may_be_refused(int32_t begin, int32_t end) const;

  int64_t calls_ = 0;
  int32_t plain_begin_ = INT32_MIN, plain_end_ = INT32_MAX;
};

// How a server takes something of which it took so many cases and refused so many.
Answer taken_of(int64_t taken, int64_t refused);
// Runs a call; how it refused, "" where it did not.
std::string refusal_of(const std::function<void()> &call);
// All rows of one result; none where its entry failed, or there are none.
std::vector<Sample> rows_of(const History &history, size_t result);
// Those of one point, by its id. Throws CallFailed.
std::vector<Sample> read_rows(Bed &bed, int32_t id, int32_t begin, int32_t end);
// A range around times, 1000 s wider on both sides as far as there is time.
struct Range {
  int32_t begin, end;
};
Range around(int64_t first, int64_t last);

}  // namespace kelpcheck
