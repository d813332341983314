// Times of calls before and after, judged together and put in words.
#pragma once

#include <string>
#include <vector>

#include "compare/statistics.h"
#include "result/comparison.h"

namespace kelpcheck {

// Something measured of calls, before and after. `seconds` are what people read.
struct Timed {
  std::string name;
  double before = 0, after = 0;  // seconds
  Shift estimate;
};
// A line for each, judged as one family.
std::vector<ComparisonLine> judge_all(const std::vector<Timed> &all, double tolerance);

// "12 %", "2.4 times": a share of change.
std::string change_text(double share);

}  // namespace kelpcheck
