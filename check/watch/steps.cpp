#include "watch/steps.h"

#include <algorithm>
#include <stdexcept>

namespace kelpcheck::watch {

namespace {

const Steps::State kNotWatched{};

}  // namespace

const Steps::State *Steps::interned(const State &state) {
  return &known_.try_emplace(state).first->first;
}

void Steps::append(Span steps, const State *state) {
  if (!runs_.empty() && runs_.back().state == state) {
    runs_.back().steps.last = steps.last;
  } else {
    runs_.push_back({steps, state});
  }
}

void Steps::set(int64_t step, const State &state) {
  if (step < 0 || step + 1 < end()) throw std::logic_error("steps have to come in their order");
  if (step + 1 == end()) {
    Run &last = runs_.back();
    if (--last.steps.last < last.steps.first) runs_.pop_back();
  } else if (step > end()) {
    append({end(), step - 1}, interned(kNotWatched));
  }
  append({step, step}, interned(state));
}

std::vector<Steps::Run> Steps::runs(Span steps) const {
  auto run = std::partition_point(runs_.begin(), runs_.end(),
                                  [&](const Run &r) { return r.steps.last < steps.first; });
  std::vector<Run> some;
  for (; run != runs_.end() && run->steps.first <= steps.last; ++run) {
    const Span part{std::max(run->steps.first, steps.first), std::min(run->steps.last, steps.last)};
    some.push_back({part, run->state});
  }
  return some;
}

const Steps::State &Steps::at(int64_t step) const {
  const auto run = std::partition_point(runs_.begin(), runs_.end(),
                                        [&](const Run &r) { return r.steps.last < step; });
  const bool known = run != runs_.end() && run->steps.first <= step;
  return known ? *run->state : kNotWatched;
}

Outcome Steps::outcome(int64_t step, int64_t point) const {
  const State &state = at(step);
  return state.failed.contains(point) ? Outcome::failed : state.outcome;
}

StepCounts Steps::counts() const {
  int64_t sums[kOutcomes] = {};
  for (const Run &run : runs_) sums[static_cast<int>(run.state->outcome)] += run.steps.size();
  return {sums[0], sums[1], sums[2], sums[3], sums[4]};
}

int64_t Steps::acknowledged_values(int64_t points) const {
  int64_t sum = 0;
  for (const Run &run : runs_) {
    if (run.state->outcome != Outcome::acknowledged) continue;
    sum += run.steps.size() * (points - run.state->failed.count());
  }
  return sum;
}

int64_t Steps::last_acknowledged(int64_t end, int64_t point) const {
  auto run = std::partition_point(runs_.begin(), runs_.end(),
                                  [&](const Run &r) { return r.steps.first < end; });
  while (run != runs_.begin()) {
    --run;
    if (run->state->outcome != Outcome::acknowledged) continue;
    if (run->state->failed.contains(point)) continue;
    return std::min(run->steps.last, end - 1);
  }
  return -1;
}

}  // namespace kelpcheck::watch
