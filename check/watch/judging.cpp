#include "watch/judging.h"

#include <algorithm>

#include "result/text.h"
#include "watch/values.h"

namespace kelpcheck {

namespace {

constexpr size_t kMostHoles = 100'000;  // that are remembered at a time

// Whether a value of this step may stand as the current one however late: nobody knows whether, and
// when, a call without an acknowledgement takes effect.
bool may_come_late(Outcome outcome) {
  return outcome == Outcome::failed || outcome == Outcome::unknown;
}

}  // namespace

void Judge::acknowledged(int64_t step, double at) { recent_.emplace_back(step, at); }

int64_t Judge::settled_end(double moment) {
  while (!recent_.empty() && recent_.front().second + settle_ <= moment) {
    settled_ = recent_.front().first + 1;
    recent_.pop_front();
  }
  return settled_;
}

Findings Judge::stale(const CurrentValues &read, const Steps &steps, double began) {
  const int64_t end = settled_end(began);
  Findings found;
  for (const CurrentGroup &group : read.groups) {
    if (group.step == kForeignValue || group.step >= end) continue;
    for (const Range &part : group.points.parts()) {
      for (int64_t point = part.first; point <= part.last; ++point) {
        const int64_t due = steps.last_acknowledged(end, point);
        if (group.step >= due) continue;
        if (group.step >= 0 && may_come_late(steps.outcome(group.step, point))) continue;
        if (found.values++ > 0) continue;
        const std::string got =
            group.step < 0 ? "none" : "the value of " + clock_text(grid_.time_of(group.step));
        found.example = {name_(point), grid_.time_of(due),
                         "the value of " + clock_text(grid_.time_of(due)), got};
      }
    }
  }
  return found;
}

Findings Judge::foreign(const CurrentValues &read, const Steps &steps) const {
  Findings found;
  for (const CurrentGroup &group : read.groups) {
    const bool written = group.step == kNoValue ||
                         (group.step >= 0 && steps.at(group.step).outcome != Outcome::skipped &&
                          steps.at(group.step).outcome != Outcome::not_watched);
    if (written) continue;
    if (found.values == 0 && group.step >= 0) {
      const int64_t time = grid_.time_of(group.step);
      found.example = {name_(group.points.parts()[0].first), time, "a value that was written",
                       "one of " + clock_text(time) + ", which was not"};
    } else if (found.values == 0 && !read.examples.empty()) {
      found.example = read.examples[0];
    }
    found.values += group.points.count();
  }
  return found;
}

Findings Judge::holes(const Observation &read, const Steps &steps, Range over, double began) {
  const Range settled{over.first, std::min(over.last, settled_end(began) - 1)};
  const Sorted sorted = sort_values(read, steps, settled);
  Findings found;
  std::map<std::pair<int64_t, int64_t>, Hole> still;
  for (const Damage &damage : sorted.lost) {
    for (const Range &part : damage.points.parts()) {
      for (int64_t step = damage.steps.first; step <= damage.steps.last; ++step) {
        const std::pair key{step, part.first};
        const auto known = holes_.find(key);
        Hole hole = known == holes_.end() ? Hole{began, false} : known->second;
        if (!hole.told && began - hole.first_seen >= settle_) {
          hole.told = true;
          if (found.values == 0) {
            const Written want = written_value(seed_, part.first, step);
            found.example = {name_(part.first), grid_.time_of(step),
                             value_text(want.status, want.value), "no row"};
          }
          found.values += part.size();
        }
        if (still.size() < kMostHoles) still.emplace(key, hole);
      }
    }
  }
  // Those of steps that this read did not cover stay as they were.
  for (const auto &[key, hole] : holes_) {
    const bool covered = key.first >= settled.first && key.first <= settled.last;
    if (!covered && key.first >= over.first) still.emplace(key, hole);
  }
  holes_ = std::move(still);
  return found;
}

}  // namespace kelpcheck
