#include "watch/writer.h"

#include <algorithm>
#include <cmath>

namespace kelpcheck::watch {

namespace {

constexpr double kLead = 0.02;  // seconds that a step's line is in the journal before its call
constexpr int kPatienceWithCalls = 3;  // failures of a session that says it works

}  // namespace

void WatchWriter::work() {
  while (const auto event = link_.work()) take(*event);
  if (!writing_ && !stopped_) start_steps();
}

void WatchWriter::stop() {
  stopped_ = true;
  if (announced_) skip(next_++, false);
}

void WatchWriter::take(const Link::Event &event) {
  if (event.request.what == Request::write) {
    take_write(event);
  } else {
    take_session(event);
  }
}

void WatchWriter::take_session(const Link::Event &event) {
  const Reply &reply = event.reply;
  if (!reply.done) {
    recorder_.record(SessionRefused{now(), reply.code, event.said});
    return;
  }
  const int64_t read_at = reply.began + (reply.ended - reply.began) / 2;
  recorder_.record(SessionMade{now(), plan_.base.drift(read_at, reply.server_time)});
}

void WatchWriter::take_write(const Link::Event &event) {
  const Reply &reply = event.reply;
  const bool ended = event.end.empty();
  const int64_t duration = ended ? reply.ended - reply.began : now_ns() - asked_ns_;
  const double at = plan_.base.moment(ended ? reply.began : asked_ns_);
  StepEnded line{event.request.step, at,         static_cast<double>(duration) / 1e9,
                 Outcome::failed,    reply.code, reply.points,
                 event.said};
  const bool none_done = reply.points.count() == plan_.points;
  if (!ended) {
    line.outcome = Outcome::unknown;
  } else if (reply.done && !none_done) {
    line.outcome = Outcome::acknowledged;
  }
  if (line.outcome != Outcome::acknowledged) line.failed = {};
  writing_ = false;
  after_call_ = true;
  recorder_.record(line);
  if (line.outcome == Outcome::acknowledged) {
    ++acknowledged_steps_;
    failures_ = 0;
    last_acknowledged_ = plan_.base.moment(reply.ended);
    link_.reset_pause();
    acknowledged_(line.step, last_acknowledged_);
  } else if (ended && !reply.lost) {
    if (plan_.fresh && calls_ == 1) refusal_ = reply.code;
    if (++failures_ % kPatienceWithCalls == 0) link_.reconnect();
  }
}

void WatchWriter::skip(int64_t step, bool busy) {
  announced_ = false;
  recorder_.record(StepSkipped{step, busy});
}

void WatchWriter::start_steps() {
  const double passed = now() + kLead - static_cast<double>(plan_.grid.first);
  const auto current =
      static_cast<int64_t>(std::floor(passed / static_cast<double>(plan_.grid.every)));
  for (; next_ < std::min(current, plan_.end); ++next_) skip(next_, after_call_);
  after_call_ = false;
  if (next_ > current || next_ >= plan_.end || !link_.ready()) return;
  const auto second = static_cast<double>(plan_.grid.time_of(next_));
  if (!announced_) {
    if (!recorder_.record(StepBegan{next_, std::max(second, now())})) {
      skip(next_++, false);
      return;
    }
    announced_ = true;
  }
  if (now() < second) return;
  asked_ns_ = now_ns();
  link_.ask({Request::write, 0, next_, {}, 0, 0});
  announced_ = false;
  writing_ = true;
  ++calls_;
  ++next_;
}

int64_t WatchWriter::due() const {
  if (writing_) return link_.due();
  if (stopped_ || next_ >= plan_.end) return INT64_MAX;
  const int64_t step = link_.ready() ? next_ : next_ + 1;
  const auto second = static_cast<double>(plan_.grid.time_of(step));
  return std::min(link_.due(), plan_.base.monotonic_ns(second - (announced_ ? 0 : kLead)));
}

}  // namespace kelpcheck::watch
