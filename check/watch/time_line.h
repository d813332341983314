// What happened over time, in a limited number of columns: when there are too many, neighbours are
// combined.
#pragma once

#include "result/watch.h"

namespace kelpcheck::watch {

class TimeLineBuilder {
 public:
  static constexpr size_t kMostColumns = 480;  // even

  // `seconds` is how long the write took; negative without one.
  void add(int64_t step, Outcome outcome, double seconds);
  void add_not_watched(Span steps);
  TimeLine finished() const;

 private:
  struct Part {
    int64_t steps[kOutcomes] = {};
    int64_t writes = 0;
    double logarithms = 0;  // of their seconds
    float longest = 0;
  };
  Part &part_of(int64_t step);

  int64_t width_ = 1;  // steps
  std::vector<Part> parts_;
};

}  // namespace kelpcheck::watch
