#include "watch/verification.h"

#include <algorithm>
#include <cmath>

#include "process/waiting.h"
#include "result/text.h"

namespace kelpcheck::watch {

namespace {

constexpr double kLongestSilence = 60;  // seconds without an answer
constexpr double kFirstPause = 0.1, kLongestPause = 2;
constexpr size_t kMostOddities = 20;

int64_t in_seconds(double seconds) { return now_ns() + static_cast<int64_t>(seconds * 1e9); }

}  // namespace

Verification::Verification(const VerifyTask &task, const Steps &steps, Screen &screen,
                           Signals &signals)
    : task_(task),
      steps_(steps),
      screen_(screen),
      signals_(signals),
      link_(task.server, task.head) {
  link_.set_first(task.grid.first);
}

// Whether it may go on: false once a signal has come or nobody has answered for too long.
bool Verification::pause(double seconds) {
  const int64_t until = std::min(in_seconds(seconds), link_.due());
  std::vector<int> descriptors = link_.descriptors();
  descriptors.push_back(signals_.descriptor());
  wait_until(until, descriptors);
  if (const int signal = signals_.take(); signal != 0) {
    interrupted_ = signal;
    obstacle_ = "interrupted";
  } else if (seconds_since(last_answer_) > kLongestSilence) {
    obstacle_ =
        text("no answer for ", kLongestSilence, " s", last_code_.empty() ? "" : ": ", last_code_);
  }
  progress();
  return obstacle_.empty();
}

// An answer, or nothing once it may not go on. Sessions are made again, and what they took along is
// asked for again.
std::optional<Reply> Verification::ask(const Request &request) {
  bool asked = false;
  for (;;) {
    while (const auto event = link_.work()) {
      const bool answers = asked && event->request.what == request.what;
      if (answers && event->reply.done) last_answer_ = now_ns();
      if (event->request.what == Request::connect && event->reply.done) ever_connected_ = true;
      if (!event->reply.done) last_code_ = event->said.empty() ? event->reply.code : event->said;
      if (task_.at_once && !ever_connected_ && !event->reply.done) {
        obstacle_ = last_code_;
        return std::nullopt;
      }
      if (answers) asked = false;
      if (answers && !event->reply.lost) return event->reply;
    }
    if (!asked && link_.ready()) {
      link_.ask(request);
      asked = true;
    }
    if (!pause(0.5)) return std::nullopt;
  }
}

void Verification::run() {
  began_ = last_answer_ = now_ns();
  if (look() && task_.steps.size() > 0) {
    Ranges there;
    for (const Span &part : task_.points.parts()) {
      for (int64_t point = part.first; point <= part.last; ++point) {
        if (!missing_.contains(point)) there.add(point);
      }
    }
    slices_.emplace(there, task_.steps, task_.grid, task_.behind);
    read_all();
    if (complete()) read_again();
  }
  seconds_ = seconds_since(began_);
  screen_.wipe();
}

// What is there of the tree. What is missing may still be on its way.
bool Verification::look() {
  const int64_t first_asked = now_ns();
  double wait = kFirstPause;
  for (;;) {
    const auto reply = ask({Request::look, 0, 0, {}, 0, 0});
    if (!reply) return false;
    if (!reply->done) {
      last_code_ = reply->code;
      if (!pause(wait)) return false;
      continue;
    }
    tree_ = reply->tree;
    if (tree_ == TreeState::foreign) return false;
    missing_ = tree_ == TreeState::missing ? Ranges({{0, task_.head.points - 1}}) : reply->points;
    if (missing_.empty() || seconds_since(first_asked) >= task_.settle) break;
    if (!pause(wait)) return false;
    wait = std::min(2 * wait, kLongestPause);
  }
  Ranges gone;
  for (const Span &part : task_.points.parts()) {
    for (int64_t point = part.first; point <= part.last; ++point) {
      if (missing_.contains(point)) gone.add(point);
    }
  }
  if (!gone.empty())
    count({gone, task_.steps, 0, 0, false, 0}, {}, all_lost(gone, steps_, task_.steps));
  return true;
}

void Verification::read_all() {
  while (auto slice = slices_->next()) {
    slice->first_asked = now_ns();
    if (!read(*slice, false)) return;
  }
}

// What was missing at first, with growing pauses, until it has had its time to come.
void Verification::read_again() {
  for (double wait = kFirstPause; !again_.empty(); wait = std::min(2 * wait, kLongestPause)) {
    for (size_t left = again_.size(); left > 0; --left) {
      const Slice slice = again_.front();
      again_.pop_front();
      const bool last_time = seconds_since(slice.first_asked) >= task_.settle;
      if (!read(slice, last_time)) return;
    }
    if (!again_.empty() && !pause(wait)) return;
  }
}

// False where it may not go on.
bool Verification::read(Slice slice, bool last_time) {
  const Request request{Request::history, 0, 0, slice.points, slice.begin, slice.end};
  const auto reply = ask(request);
  if (!reply) return false;
  if (!reply->done) return refused(slice, reply->code);
  const bool unread = !reply->points.empty() &&
                      all_lost(reply->points, steps_, slice.steps).samples.acknowledged > 0;
  const Sorted sorted = sort_values(reply->observation, steps_, slice.steps);
  if (!last_time && (unread || !sorted.lost.empty())) {
    again_.push_back(slice);
    return true;
  }
  if (unread) {
    obstacle_ =
        text("history of ", reply->points.count(), " points cannot be read: their entries fail");
    return false;
  }
  count(slice, *reply, sorted);
  return true;
}

// A range that the server does not take is asked for in halves. Beside the watch's own time it may
// be left out.
bool Verification::refused(const Slice &slice, const std::string &code) {
  last_code_ = code;
  if (slices_->halve(slice)) return pause(0);
  if (slice.margin) {
    const std::string remark = "the server gives no history from outside the watch's time: " + code;
    if (remarks_.empty() || remarks_.back() != remark) remarks_.push_back(remark);
    return true;
  }
  if (slice.first_asked != 0 && seconds_since(slice.first_asked) > kLongestSilence) {
    obstacle_ = "history cannot be read: " + code;
    return false;
  }
  again_.push_back(slice);
  return pause(kFirstPause);
}

void Verification::count(const Slice &slice, const Reply &reply, const Sorted &sorted) {
  samples_ += sorted.samples;
  for (const Damage &damage : sorted.lost) lost_.add(damage);
  for (const Damage &damage : sorted.changed) changed_.add(damage);
  for (const Observed &group : reply.observation.groups) {
    const Shown &shown = group.shown;
    rows_ += (shown.right.count() + shown.wrong.count() + shown.off_grid) * group.points.count();
  }
  const bool odd = sorted.samples.changed + sorted.samples.foreign > 0;
  for (const Oddity &example : reply.observation.examples) {
    if (odd && oddities_.size() < kMostOddities) oddities_.push_back(example);
  }
  // Rows of steps that were never called look right, and belong to nobody all the same.
  if (odd && reply.observation.examples.empty() && oddities_.size() < kMostOddities) {
    const int64_t point = slice.points.parts()[0].first;
    const WatchNames names(task_.head.server.database, task_.head.server.prefix, task_.head.points);
    oddities_.push_back({names.full_point(point), slice.begin, "no rows of steps not written",
                         text(sorted.samples.foreign, " of them")});
  }
}

void Verification::progress() {
  if (!slices_ || slices_->all_rows() == 0) return;
  const double share =
      static_cast<double>(slices_->done_rows()) / static_cast<double>(slices_->all_rows());
  const double elapsed = seconds_since(began_);
  std::string words =
      text("verifying: ", slices_->done_rows(), " of ", slices_->all_rows(), " values");
  if (share > 0.02 && share < 1) {
    words += ", about " + duration_text(elapsed * (1 / share - 1) * 1e9) + " left";
  }
  if (share >= 1 && !again_.empty()) words += ", asking again for what is missing";
  screen_.live(words);
}

std::string Verification::remove() {
  last_answer_ = now_ns();
  obstacle_.clear();
  double wait = kFirstPause;
  for (int tries = 0; tries < 3; ++tries) {
    const auto reply = ask({Request::remove, 0, 0, {}, 0, 0});
    if (!reply) return obstacle_;
    if (reply->done) return "";
    last_code_ = reply->code;
    if (!pause(wait)) return obstacle_;
    wait = std::min(2 * wait, kLongestPause);
  }
  return last_code_;
}

}  // namespace kelpcheck::watch
