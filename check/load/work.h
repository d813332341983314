// What the calls of a load are: which operation, of how many rows, and which values at which times.
// All of it follows from the number of a call, so nothing has to be stored to know what must come
// back. Every row of a point has a second of its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "load/options.h"

namespace kelpcheck {

enum class CallKind { write, history, snap, read, query };

// A range of seconds of one point, counted from the begin of the load's times.
struct RowRange {
  int64_t first, count;
};

class Work {
 public:
  explicit Work(const LoadOptions &options);

  // Of a session's call; those of a mix differ.
  CallKind kind(int32_t session, int64_t call) const;
  // Rows that a call of this kind writes, or delivers when all of it is there.
  int64_t rows(CallKind kind) const;
  // Over a whole mix.
  double mean_rows() const;

  // Seconds that are written before the measurement, of each point.
  int64_t filled() const { return filled_; }
  // Of the write with this number of a session: which point (for history) and which seconds.
  int32_t point(int64_t write) const { return static_cast<int32_t>(write % points_); }
  RowRange range(int64_t write) const;
  // Seconds that so many writes of a session need, those before the measurement included.
  int64_t seconds_needed(int64_t writes) const;
  // How many of a session's calls write.
  int64_t writes_among(int64_t calls) const;
  bool writes() const { return doing_ != Doing::read && doing_ != Doing::query; }

  // The shares of a mix, or what all calls do: "70 % writes, 20 % reads, 10 % queries of the
  // calls".
  std::string words() const;

 private:
  Doing doing_;
  int64_t points_, rows_, filled_;
};

// What stands in a row, exactly as a 32 bit float holds it.
struct LoadValue {
  int16_t status;
  double value;
  bool operator==(const LoadValue &) const = default;
};
LoadValue load_value(int32_t session, int32_t point, int64_t second);

}  // namespace kelpcheck
