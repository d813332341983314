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
  bool local = false;  // needs no server, and varies less than what does
};
// A line for each, judged as one family. How far apart two runs are is taken from what is alike,
// and is never less than a little: calls that follow each other closely do not show it.
std::vector<ComparisonLine> judge_all(const std::vector<Timed> &all, double tolerance);

// "12 %", "2.4 times": a share of change.
std::string change_text(double share);

}  // namespace kelpcheck
