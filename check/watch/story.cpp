#include "watch/story.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kelpcheck::watch {

namespace {

constexpr size_t kMostExamples = 20;
constexpr double kSameFinding = 30;  // seconds between reads that count as one
const std::string kNoSession = "no session";

std::string seconds_text(double seconds) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f s", seconds);
  return buffer;
}

std::string steps_text(int64_t steps) {
  return steps == 1 ? "1 step" : std::to_string(steps) + " steps";
}

bool is_number(const std::string &code) {
  const size_t digits = code.starts_with('-') ? 1 : 0;
  return code.size() > digits && code.find_first_not_of("0123456789", digits) == code.npos;
}

std::string call_words(const std::string &code) {
  if (is_number(code)) return "kelp2_write_value gave " + code;
  if (code == "hung") return "kelp2_write_value did not return";
  return "kelp2_write_value: " + code;
}

void note_code(Outage &outage, const std::string &code) {
  const auto known = std::find(outage.codes.begin(), outage.codes.end(), code);
  if (known == outage.codes.end()) outage.codes.push_back(code);
}

}  // namespace

void Story::take(const JournalLine &line) {
  std::visit([this](const auto &known) { on(known); }, line);
}

void Story::tell(double at, const std::string &words) const {
  if (tell_ && !muted_) tell_({at, words});
}

void Story::set(int64_t step, const Steps::State &state) {
  const Span gap{steps_.end(), step - 1};
  if (gap.size() > 0 && broken_) {
    for (int64_t lost = gap.first; lost <= gap.last; ++lost) {
      steps_.set(lost, {Outcome::unknown, {}});
      line_.add(lost, Outcome::unknown, -1);
    }
  } else if (gap.size() > 0) {
    line_.add_not_watched(gap);
  }
  broken_ = false;
  steps_.set(step, state);
  if (begun_) latest_ = std::max(latest_, static_cast<double>(begun_->first));
}

// A call whose outcome nobody wrote down: its watcher was killed.
void Story::settle_pending() {
  if (pending_) line_.add(pending_->step, Outcome::unknown, -1);
  pending_.reset();
}

void Story::on(const WatchBegan &line) {
  begun_ = line;
  latest_ = static_cast<double>(line.first);
}

void Story::on(const StepBegan &line) {
  settle_pending();
  set(line.step, {Outcome::unknown, {}});
  pending_ = line;
  latest_ = line.at;
}

void Story::on(const StepEnded &line) {
  const bool known = pending_ && pending_->step == line.step;
  const double begin = line.at;
  if (!known) settle_pending();
  pending_.reset();
  set(line.step, {line.outcome, line.failed});
  line_.add(line.step, line.outcome, line.seconds);
  latest_ = begin + line.seconds;
  longest_write_ = std::max(longest_write_, line.seconds);
  logarithms_ += std::log(std::max(line.seconds, 1e-6));
  ++writes_;
  after_slow_call_ = line.outcome == Outcome::acknowledged;
  slow_call_ = {begin, line.seconds, 0};
  if (line.outcome == Outcome::acknowledged) {
    recover(latest_);
  } else {
    fail(begin, line.code, call_words(line.code), line.said);
    ++not_written_;
  }
}

void Story::on(const StepSkipped &line) {
  if (pending_ && pending_->step == line.step) pending_.reset();  // it was announced, not called
  settle_pending();
  set(line.step, {Outcome::skipped, {}});
  line_.add(line.step, Outcome::skipped, -1);
  if (out_) {
    ++outages_.back().skipped;
    ++not_written_;
    return;
  }
  if (!line.busy || !after_slow_call_) return;
  if (slow_call_.skipped++ == 0) {
    stalls_.push_back(slow_call_);
    tell(slow_call_.begin,
         "stall: a call took " + seconds_text(slow_call_.seconds) + ", steps passed during it");
  }
  stalls_.back().skipped = slow_call_.skipped;
}

void Story::on(const SessionRefused &line) {
  latest_ = line.at;
  const std::string words =
      line.code == kNoSession ? "kelp2_init gave no session" : "kelp2_init: " + line.code;
  fail(line.at, line.code, words, line.said);
}

void Story::on(const SessionMade &line) {
  latest_ = line.at;
  if (line.drift == 0) return;
  tell(line.at, "the server's clock is " + seconds_text(std::abs(line.drift)) +
                    (line.drift < 0 ? " behind" : " ahead of") +
                    " the one with which the watch began");
}

void Story::on(const Resumed &line) {
  settle_pending();
  out_ = reader_out_ = false;  // what became of them nobody saw
  after_slow_call_ = false;
  ended_ = false;
  ++resumptions_;
  latest_ = line.at;
}

void Story::on(const ReaderReads &line) {
  reader_.succeeded = true;
  if (!reader_out_) return;
  Outage &outage = reader_outages_.back();
  outage.seconds = line.at - outage.begin;
  outage.over = true;
  reader_out_ = false;
}

void Story::on(const ReaderLost &line) {
  if (!reader_out_) reader_outages_.push_back({line.at, 0, false, 0, 0, {}, 0});
  reader_out_ = true;
  Outage &outage = reader_outages_.back();
  note_code(outage, line.code);
  outage.seconds = line.at - outage.begin;
  if (line.code != kNoSession) ++outage.failed_calls;
}

void Story::on(const ReaderFound &line) {
  static const char *const names[] = {"stale", "foreign", "missing in history"};
  int64_t *const counts[] = {&reader_.stale, &reader_.foreign, &reader_.holes};
  *counts[line.kind] += line.values;
  double &last = last_found_[line.kind];
  const bool goes_on = line.kind != ReaderFound::hole && line.at - last < kSameFinding;
  last = line.at;
  if (goes_on) return;
  if (reader_.examples.size() < kMostExamples) reader_.examples.push_back(line.example);
  tell(line.at, std::to_string(line.values) + (line.values == 1 ? " value is " : " values are ") +
                    names[line.kind] + ": " + line.example.point + ", expected " +
                    line.example.expected + ", got " + line.example.got);
}

void Story::on(const HistoryLooked &line) {
  history_kept_ = line.kept;
  if (line.kept) return;
  tell(line.at, "no row of the first steps is in history: this server does not keep them");
}

void Story::on(const WatchEnded &line) {
  ended_ = true;
  latest_ = std::max(latest_, line.at);
  finish();
}

void Story::finish() {
  settle_pending();
  for (auto [out, outages] : {std::pair{&out_, &outages_}, {&reader_out_, &reader_outages_}}) {
    if (*out) outages->back().seconds = std::max(0.0, latest_ - outages->back().begin);
    *out = false;
  }
}

double Story::typical_write() const {
  return writes_ == 0 ? 0 : std::exp(logarithms_ / static_cast<double>(writes_));
}

void Story::fail(double at, const std::string &code, const std::string &words,
                 const std::string &said) {
  if (!out_) {
    outages_.push_back({at, 0, false, 0, 0, {}, 0});
    not_written_ = 0;
    const std::string line = said.substr(0, said.find('\n'));
    tell(at, "outage: " + words + (line.empty() ? "" : " (" + line + ")"));
  }
  out_ = true;
  Outage &outage = outages_.back();
  note_code(outage, code);
  outage.seconds = std::max(outage.seconds, latest_ - outage.begin);
  if (code != kNoSession) ++outage.failed_calls;
}

void Story::recover(double at) {
  if (!out_) return;
  out_ = false;
  Outage &outage = outages_.back();
  outage.seconds = at - outage.begin;
  outage.over = true;
  tell(at, "back after " + seconds_text(outage.seconds) + ", " + steps_text(not_written_) +
               " not written");
}

}  // namespace kelpcheck::watch
