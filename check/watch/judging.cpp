#include "watch/judging.h"

#include <algorithm>

#include "result/text.h"
#include "watch/values.h"

namespace kelpcheck::watch {

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
    for (const Span &part : group.points.parts()) {
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

// Whether a hole that is seen again has stayed long enough to be told now.
bool Judge::stays(const Place &place, double began, std::map<Place, Hole> &still) const {
  const auto known = holes_.find(place);
  Hole hole = known == holes_.end() ? Hole{began, false} : known->second;
  const bool tell = !hole.told && began - hole.first_seen >= settle_;
  hole.told = hole.told || tell;
  if (still.size() < kMostHoles) still.emplace(place, hole);
  return tell;
}

Findings Judge::holes(const Observation &read, const Steps &steps, Span over, double began) {
  const Span settled{over.first, std::min(over.last, settled_end(began) - 1)};
  const Sorted sorted = sort_values(read, steps, settled);
  Findings found;
  std::map<Place, Hole> still;
  for (const Damage &damage : sorted.lost) {
    for (const Span &part : damage.points.parts()) {
      for (int64_t step = damage.steps.first; step <= damage.steps.last; ++step) {
        if (!stays({step, part.first}, began, still)) continue;
        const Written want = written_value(seed_, part.first, step);
        if (found.values == 0) {
          found.example = {name_(part.first), grid_.time_of(step),
                           value_text(want.status, want.value), "no row"};
        }
        found.values += part.size();
      }
    }
  }
  Ranges points;
  for (const Observed &group : read.groups) {
    for (const Span &part : group.points.parts()) points.add(part);
  }
  for (const auto &[place, hole] : holes_) {
    const bool other = !points.contains(place.second) && place.first >= over.first;
    if (other && hole.told) still.emplace(place, hole);
  }
  holes_ = std::move(still);
  return found;
}

int64_t Judge::oldest_hole() const {
  for (const auto &[place, hole] : holes_) {
    if (!hole.told) return place.first;
  }
  return -1;
}

}  // namespace kelpcheck::watch
