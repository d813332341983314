// What became of every step, in runs of equal neighbours: a quiet week is one run, so that memory
// grows with what happened and not with the time that passed.
#pragma once

#include <map>
#include <vector>

#include "result/watch.h"

namespace kelpcheck::watch {

class Steps {
 public:
  struct State {
    Outcome outcome = Outcome::not_watched;
    Ranges failed;  // points whose entries failed in an acknowledged call
    auto operator<=>(const State &) const = default;
  };
  struct Run {
    Span steps;
    const State *state;
  };

  // The step is the last one known, or comes after it; those in between were not watched.
  void set(int64_t step, const State &state);
  // One behind the last step that is known.
  int64_t end() const { return runs_.empty() ? 0 : runs_.back().steps.last + 1; }

  const State &at(int64_t step) const;
  // The outcome for one point: failed where its entry failed.
  Outcome outcome(int64_t step, int64_t point) const;
  // The runs that have a part in these steps, cut to them.
  std::vector<Run> runs(Span steps) const;
  const std::vector<Run> &runs() const { return runs_; }

  StepCounts counts() const;
  // Acknowledged values of that many points.
  int64_t acknowledged_values(int64_t points) const;
  // The last step below `end` at which the point's value was acknowledged; -1 without one.
  int64_t last_acknowledged(int64_t end, int64_t point) const;

 private:
  void append(Span steps, const State *state);
  const State *interned(const State &state);

  std::map<State, int> known_;  // every state once; nodes of a map stay where they are
  std::vector<Run> runs_;
};

}  // namespace kelpcheck::watch
