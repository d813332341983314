// Compares rows of statistics with what the habits allow, and narrows the habits.
#pragma once

#include "checks/settle.h"
#include "habits/interval.h"

namespace kelpcheck {

// What was asked for, of which point.
struct StatisticsQuery {
  int32_t begin, end, step;
  int32_t kind;
  std::string name;  // for evidence
};

// The rows of one result; none where its entry failed.
std::vector<StatValue> statistics_of(const History &history, size_t result);

// `samples` is all that the point holds, in the order of time, none of it NaN.
Seen compare_statistics(Bed &bed, Evidence &e, const StatisticsQuery &query,
                        const std::vector<Sample> &samples, const std::vector<StatValue> &rows);

}  // namespace kelpcheck
