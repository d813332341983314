#include "watch/time_line.h"

#include <algorithm>
#include <cmath>

namespace kelpcheck::watch {

TimeLineBuilder::Part &TimeLineBuilder::part_of(int64_t step) {
  while (step / width_ >= static_cast<int64_t>(kMostColumns)) {
    width_ *= 2;
    std::vector<Part> wider((parts_.size() + 1) / 2);
    for (size_t i = 0; i < parts_.size(); ++i) {
      Part &to = wider[i / 2];
      for (int outcome = 0; outcome < kOutcomes; ++outcome) {
        to.steps[outcome] += parts_[i].steps[outcome];
      }
      to.writes += parts_[i].writes;
      to.logarithms += parts_[i].logarithms;
      to.longest = std::max(to.longest, parts_[i].longest);
    }
    parts_ = std::move(wider);
  }
  const auto column = static_cast<size_t>(step / width_);
  if (parts_.size() <= column) parts_.resize(column + 1);
  return parts_[column];
}

void TimeLineBuilder::add(int64_t step, Outcome outcome, double seconds) {
  Part &part = part_of(step);
  ++part.steps[static_cast<int>(outcome)];
  if (seconds < 0) return;
  constexpr double shortest = 1e-6;
  ++part.writes;
  part.logarithms += std::log(std::max(seconds, shortest));
  part.longest = std::max(part.longest, static_cast<float>(seconds));
}

void TimeLineBuilder::add_not_watched(Span steps) {
  part_of(steps.last);  // so that the columns are as wide as they have to be
  for (int64_t step = steps.first; step <= steps.last;) {
    const int64_t behind = std::min((step / width_ + 1) * width_, steps.last + 1);
    part_of(step).steps[static_cast<int>(Outcome::not_watched)] += behind - step;
    step = behind;
  }
}

TimeLine TimeLineBuilder::finished() const {
  TimeLine line;
  line.steps_per_column = width_;
  for (const Part &part : parts_) {
    Column &column = line.columns.emplace_back();
    std::copy(std::begin(part.steps), std::end(part.steps), column.steps);
    column.longest = part.longest;
    if (part.writes == 0) continue;
    column.typical =
        static_cast<float>(std::exp(part.logarithms / static_cast<double>(part.writes)));
  }
  return line;
}

}  // namespace kelpcheck::watch
