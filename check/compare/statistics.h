// How the times of two runs differ, and what such a comparison could have shown. All on the scale
// of logarithms, where twice as slow and twice as fast are equally far from the same.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace kelpcheck {

// That a value of Student's distribution is larger has this probability; at least one degree of
// freedom.
double student_tail(double value, int freedom);
// The value that is exceeded with this probability, below one half.
double student_quantile(double probability, int freedom);

// The mean time of calls that followed each other.
struct MeanOfCalls {
  int64_t calls = 0;
  double seconds = 0;
};

// An estimate of the logarithm of new by old.
struct Shift {
  double shift = 0;
  double error = 0;  // standard error, as far as the calls' own spread tells
  int freedom = 0;
};
// Batches of the same number are of the same calls and are compared with each other; where the two
// runs made other numbers of calls, all of one with all of the other. Neighbours that are alike
// count as what they are: the error is the largest that longer batches give. Nothing where there
// are too few.
std::optional<Shift> shift_of(const std::vector<MeanOfCalls> &before,
                              const std::vector<MeanOfCalls> &after);

double median(std::vector<double> values);  // 0 of none

// What is common to many estimates of two runs, and how far they are apart beyond what their own
// errors explain: two runs on the same server differ by more than the calls of one run show.
struct Common {
  double shift = 0;
  double apart = 0;  // a standard deviation
};
Common common_of(const std::vector<Shift> &estimates);

// The verdict on one of a family of estimates.
struct Judgement {
  double ratio = 1, low = 1, high = 1;  // new by old, with its interval
  bool differs = false;                 // the interval lies beyond the tolerance
  double smallest = 0;  // share of change that would have been seen in 95 of 100: 0.12 is 12 %
};
// `apart` as in Common; `family` is how many estimates are judged, all of which together are wrong
// once in fifty reports; `tolerance` a share.
Judgement judge_one(const Shift &estimate, double apart, size_t family, double tolerance);

}  // namespace kelpcheck
