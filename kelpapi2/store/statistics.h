// Statistics of one point's samples per interval, folded in one pass over samples in time order.
// One implementation for all engines: they only deliver samples.
#pragma once

#include <kelpapi2.h>

#include "store/store.h"

namespace kelp {

// The intervals [begin + k * step, begin + (k + 1) * step) of a range; a step of 0 or less makes
// one interval of the whole range. The last one is cut at the range's end.
struct Intervals {
  int32_t begin;
  int32_t end;
  int32_t step;

  int64_t number_of(int32_t time) const;
  int64_t start_of(int64_t number) const;
  int64_t end_of(int64_t number) const;
};

// Folds the samples of one interval.
//   mean    arithmetic mean          stdev  population standard deviation
//   flow    integral, in value seconds, of the curve that holds each sample until the next one or
//           the interval's end
//   avg     flow divided by the time that the curve covers
//   status  bitwise or of all statuses, so that 0 says that all were 0
// max and min leave NaN out unless there is nothing else; a tie goes to the earlier sample.
class StatFold {
 public:
  explicit StatFold(const Sample &first);
  void add(const Sample &next);
  // The row of an interval that starts and ends at these times.
  StatValue row(int64_t start, int64_t end) const;

 private:
  StatValue extremes_{};
  int32_t first_time_;
  Sample last_;
  int64_t count_ = 1;
  // Welford's running mean and sum of squared deviations.
  long double running_mean_;
  long double squares_ = 0;
  long double sum_;
  long double flow_ = 0;
};

}  // namespace kelp
