// What a row of statistics may be: for each field of StatValue the answers that are known for it,
// with the value that each of them gives for this interval, and the bounds that hold whatever the
// definition is. Pure calculation, without the library.
#pragma once

#include <optional>

#include "habits/questions.h"
#include "probe/handles.h"

namespace kelpcheck {

// The values of one interval [start, end), and their neighbours: inside the range that was asked
// for, or outside it, where a server may look or not.
struct Interval {
  int64_t start = 0, end = 0;
  int64_t grid_start = 0;  // of the whole interval, of which the range may hold only a part
  std::vector<Sample> samples;
  std::optional<Sample> before, behind;
  bool before_in_range = true, behind_in_range = true;
};

struct Candidate {
  Answer answer;
  double value;
};

struct ExpectedField {
  const char *name;
  std::optional<Question> question;   // none where the header says all
  std::vector<Candidate> candidates;  // an answer may occur more than once
  double tolerance = 0;
  double lowest = 0, highest = 0;  // what no definition goes beyond
  double (*read)(const StatValue &row) = nullptr;

  bool matches(const Candidate &candidate, double got) const;
  Answers allowed_by(double got) const;
  bool in_bounds(double got) const;
};

// In the order of StatValue. The interval holds at least one value; none is NaN.
std::vector<ExpectedField> expected_fields(const Interval &interval, int32_t kind);

// The intervals of [begin, end) over a point's samples, which are in the order of time, each at
// least one second inside `end`; as the habits grid and last say. With empty ones among them.
struct Grid {
  int32_t begin = 0, end = 0, step = 0;
  Answer starts = Answer::begin;  // or multiples
  Answer last = Answer::cut;      // or whole, left_out
  bool beyond_end = false;        // a whole last one holds what lies behind the range
};
std::vector<Interval> intervals_of(const Grid &grid, const std::vector<Sample> &samples);

}  // namespace kelpcheck
