#include "watch/sorting.h"

#include <algorithm>

namespace kelpcheck::watch {

namespace {

// One run of equal outcomes, and points that show the same.
class RunSorter {
 public:
  RunSorter(const Steps::Run &run, const Observed &group, Sorted &to)
      : run_(run), shown_(group.shown), to_(to) {
    for (const Span &part : group.points.parts()) split(part);
  }

  void sort() {
    const int64_t right = shown_.right.count(run_.steps);
    const int64_t wrong = shown_.wrong.count(run_.steps);
    Samples &samples = to_.samples;
    if (run_.state->outcome == Outcome::acknowledged) {
      sort_acknowledged(right, wrong);
    } else if (run_.state->outcome == Outcome::failed || run_.state->outcome == Outcome::unknown) {
      samples.recovered += right * done_.count();
      samples.foreign += wrong * done_.count();
    } else {
      samples.foreign += (right + wrong) * done_.count();
    }
    samples.recovered += right * failed_.count();
    samples.foreign += wrong * failed_.count();
  }

 private:
  // The points whose entries failed are apart from the others.
  void split(Span points) {
    const Ranges &failed = run_.state->failed;
    int64_t next = points.first;
    for (const Span &part : failed.parts()) {
      const Span overlap{std::max(part.first, points.first), std::min(part.last, points.last)};
      if (overlap.size() <= 0) continue;
      done_.add({next, overlap.first - 1});
      failed_.add(overlap);
      next = overlap.last + 1;
    }
    done_.add({next, points.last});
  }

  void sort_acknowledged(int64_t right, int64_t wrong) {
    const int64_t points = done_.count();
    if (points == 0) return;
    Samples &samples = to_.samples;
    samples.acknowledged += run_.steps.size() * points;
    samples.present += right * points;
    samples.changed += wrong * points;
    samples.lost += (run_.steps.size() - right - wrong) * points;
    int64_t next = run_.steps.first;
    Ranges there = shown_.right;
    for (const Span &part : shown_.wrong.parts()) {
      const Span changed{std::max(part.first, run_.steps.first),
                         std::min(part.last, run_.steps.last)};
      if (changed.size() > 0) to_.changed.push_back({changed, done_});
      there.add(part);
    }
    for (const Span &part : there.parts()) {
      if (part.last < next) continue;
      if (part.first > run_.steps.last) break;
      lose({next, part.first - 1});
      next = part.last + 1;
    }
    lose({next, run_.steps.last});
  }

  void lose(Span steps) {
    if (steps.size() > 0) to_.lost.push_back({steps, done_});
  }

  const Steps::Run &run_;
  const Shown &shown_;
  Sorted &to_;
  Ranges done_, failed_;
};

}  // namespace

Sorted sort_values(const Observation &observation, const Steps &steps, Span over) {
  Sorted sorted;
  const std::vector<Steps::Run> runs = steps.runs(over);
  for (const Observed &group : observation.groups) {
    int64_t rows = group.shown.right.count() + group.shown.wrong.count();
    for (const Steps::Run &run : runs) {
      rows -= group.shown.right.count(run.steps) + group.shown.wrong.count(run.steps);
      RunSorter(run, group, sorted).sort();
    }
    // What is left lies outside of all that is known.
    sorted.samples.foreign += (rows + group.shown.off_grid) * group.points.count();
  }
  return sorted;
}

Sorted all_lost(const Ranges &points, const Steps &steps, Span over) {
  Observation nothing;
  nothing.groups.push_back({points, {}});
  return sort_values(nothing, steps, over);
}

void Patches::add(const Damage &damage) {
  values_ += damage.steps.size() * damage.points.count();
  steps_.add(damage.steps);
  if (size_ >= kMostPieces) return;
  Ranges &points = pieces_[damage.steps];
  size_ -= static_cast<int64_t>(points.parts().size());
  for (const Span &part : damage.points.parts()) points.add(part);
  size_ += static_cast<int64_t>(points.parts().size());
}

std::vector<Patch> Patches::patches() const {
  std::vector<Patch> all;
  for (const auto &[steps, points] : pieces_) {
    // The last ones may end where this one begins.
    const auto before = std::find_if(all.rbegin(), all.rend(), [&](const Patch &patch) {
      return patch.steps.last + 1 == steps.first && patch.points == points;
    });
    if (before != all.rend()) {
      before->steps.last = steps.last;
      before->values += steps.size() * points.count();
    } else if (all.size() < kMostPatches) {
      all.push_back({steps, points, steps.size() * points.count(), -1, 0});
    }
  }
  return all;
}

int64_t gone_before(const Patches &losses, const Steps &steps, int64_t points) {
  if (losses.values() == 0) return -1;
  const int64_t last = losses.steps().parts().back().last;
  int64_t acknowledged = 0;
  for (const Steps::Run &run : steps.runs({0, last})) {
    if (run.state->outcome != Outcome::acknowledged) continue;
    acknowledged += run.steps.size() * (points - run.state->failed.count());
  }
  return acknowledged == losses.values() ? last : -1;
}

void relate(std::vector<Patch> &losses, const Ranges &lost_steps, const Steps &steps,
            const Grid &grid, std::vector<Outage> &outages) {
  for (Outage &outage : outages) {
    // Back over the acknowledged steps before it, as long as something of them is lost.
    int64_t step = grid.next_step(outage.begin) - 1;
    const auto acknowledged = [&] { return steps.at(step).outcome == Outcome::acknowledged; };
    while (step >= 0 && !acknowledged()) --step;
    const int64_t last = step;
    while (step >= 0 && acknowledged() && lost_steps.contains(step)) --step;
    outage.lost_seconds = static_cast<double>((last - step) * grid.every);
  }
  constexpr double near = 600;  // seconds: what is lost longer before has other causes
  for (Patch &patch : losses) {
    const auto last = static_cast<double>(grid.time_of(patch.steps.last));
    const auto next = std::find_if(outages.begin(), outages.end(),
                                   [&](const Outage &outage) { return outage.begin >= last; });
    if (next == outages.end() || next->begin - last > near) continue;
    patch.before_outage = next->begin - last;
    patch.outage = next->begin;
  }
}

}  // namespace kelpcheck::watch
