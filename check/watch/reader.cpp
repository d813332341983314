#include "watch/reader.h"

#include <algorithm>
#include <cmath>

namespace kelpcheck::watch {

namespace {

constexpr int64_t kReadsPerWindow = 5;
constexpr size_t kFirstSteps = 5;  // that tell whether values become history
constexpr int64_t kRowsPerQuery = 10'000;
constexpr int64_t kStepsPerWindow = 20;
constexpr double kLastReads = 0.2;      // seconds between them
constexpr double kLongestFarewell = 5;  // seconds for a reader that cannot read, beyond --settle

}  // namespace

WatchReader::WatchReader(const JournalHead &head, const Grid &grid, const TimeBase &base,
                         Link &link, Recorder &recorder)
    : head_(head),
      grid_(grid),
      base_(base),
      link_(link),
      recorder_(recorder),
      judge_(grid, head.seed, head.settle,
             [names = WatchNames(head.server.database, head.server.prefix, head.points)](
                 int64_t point) { return names.full_point(point); }) {}

void WatchReader::acknowledged(int64_t step, double at) {
  judge_.acknowledged(step, at);
  last_step_ = step;
  last_acknowledged_ = at;
  if (recorder_.story().history_kept() || first_steps_.size() == kFirstSteps) return;
  if (first_steps_.empty()) first_acknowledged_ = at;
  first_steps_.push_back(step);
  first_settled_ = at + head_.settle;
}

void WatchReader::finish() {
  finishing_ = true;
  next_read_ = now();
  give_up_ = now() + head_.settle + kLongestFarewell;
  if (last_step_ < 0) finished_ = true;
}

void WatchReader::work() {
  while (const auto event = link_.work()) take(*event);
  if (finishing_ && now() > give_up_) finished_ = true;
  if (last_step_ < 0 || finished_ || !link_.ready() || now() < next_read_) return;
  // In the middle between two steps, where the writer rests.
  const auto every = static_cast<double>(grid_.every);
  next_read_ = finishing_ ? now() + kLastReads
                          : static_cast<double>(grid_.time_of(grid_.next_step(now() + every / 4))) +
                                every / 2;
  asked_ = now();
  ask();
}

int64_t WatchReader::due() const {
  if (finished_) return INT64_MAX;
  if (!link_.ready() || last_step_ < 0) return link_.due();
  return base_.monotonic_ns(next_read_);
}

bool WatchReader::look_is_due() const {
  const bool enough = first_steps_.size() == kFirstSteps && now() >= first_settled_;
  return enough && !recorder_.story().history_kept();
}

bool WatchReader::was_out() const {
  const auto since = [&](const std::vector<Outage> &outages) {
    return !outages.empty() && outages.back().begin > first_acknowledged_;
  };
  return since(recorder_.story().outages()) || since(recorder_.story().reader_outages());
}

Span WatchReader::window() {
  const int64_t last = judge_.settled_end(now()) - 1;
  const int64_t first = std::max<int64_t>(0, last - kStepsPerWindow + 1);
  const int64_t open = judge_.oldest_hole();
  return {open < 0 ? first : std::min(first, open), last};
}

void WatchReader::ask() {
  const bool windows = recorder_.story().history_kept().value_or(false);
  if (look_is_due() && !finishing_) {
    ask_history({first_steps_.front(), first_steps_.back()});
  } else if (windows && !finishing_ && ++reads_ % kReadsPerWindow == 0 && window().size() > 0) {
    ask_history(window());
  } else {
    link_.ask({Request::current, 0, 0, {}, 0, 0});
  }
}

void WatchReader::ask_history(Span steps) {
  asked_steps_ = steps;
  if (first_point_ >= head_.points) first_point_ = 0;
  const int64_t most =
      std::min(points_per_query_, std::max<int64_t>(1, kRowsPerQuery / steps.size()));
  const int64_t last = std::min(first_point_ + most, head_.points) - 1;
  link_.ask({Request::history, 0, 0, Ranges({{first_point_, last}}), grid_.time_of(steps.first),
             grid_.time_of(steps.last) + 1});
}

void WatchReader::take(const Link::Event &event) {
  if (event.request.what == Request::connect && event.reply.done) return;
  if (!event.reply.done) {
    take_failure(event);
    return;
  }
  if (!reading_) recorder_.record(ReaderReads{now()});
  reading_ = true;
  if (event.request.what == Request::current) {
    take_current(event);
  } else if (recorder_.story().history_kept()) {
    take_window(event);
  } else {
    take_look(event);
  }
}

void WatchReader::take_failure(const Link::Event &event) {
  if (event.request.what == Request::history && !event.reply.lost) {
    points_per_query_ = std::max<int64_t>(1, points_per_query_ / 2);
  }
  reading_ = false;
  recorder_.record(ReaderLost{now(), event.reply.code});
}

void WatchReader::found(ReaderFound::Kind kind, const Findings &findings) {
  if (findings.values == 0) return;
  recorder_.record(ReaderFound{kind, asked_, findings.values, findings.example});
}

void WatchReader::take_current(const Link::Event &event) {
  const CurrentValues &read = event.reply.current;
  const Steps &steps = recorder_.story().steps();
  found(ReaderFound::foreign, judge_.foreign(read, steps));
  const bool up_to_date = std::all_of(read.groups.begin(), read.groups.end(),
                                      [&](const auto &g) { return g.step == last_step_; });
  if (finishing_ && !up_to_date && asked_ < last_acknowledged_ + head_.settle) return;
  found(ReaderFound::stale, judge_.stale(read, steps, asked_));
  finished_ = finishing_;
}

void WatchReader::take_window(const Link::Event &event) {
  found(ReaderFound::hole,
        judge_.holes(event.reply.observation, recorder_.story().steps(), asked_steps_, asked_));
  if (judge_.oldest_hole() < 0) first_point_ = event.request.points.parts().back().last + 1;
}

void WatchReader::take_look(const Link::Event &event) {
  const auto &groups = event.reply.observation.groups;
  const bool some = std::any_of(groups.begin(), groups.end(), [&](const Observed &group) {
    return group.shown.right.count(asked_steps_) + group.shown.wrong.count(asked_steps_) > 0;
  });
  first_point_ = event.request.points.parts().back().last + 1;
  if (!some && first_point_ < head_.points) return;
  if (some || !was_out()) {
    recorder_.record(HistoryLooked{now(), some});
  } else {
    first_steps_.clear();  // an outage may have taken them: later ones tell
  }
}

}  // namespace kelpcheck::watch
