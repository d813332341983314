#include "habits/ledger.h"

#include <algorithm>
#include <cmath>

#include "result/text.h"

namespace kelpcheck {

namespace {

constexpr Answers kAny{Answer::replaces, Answer::ignored, Answer::both};

// Whether rows written in this way become history.
Answers kept_in_history(const Habits &habits, Way way) {
  switch (way) {
    case Way::history: return Answer::yes;
    case Way::current: return habits.left(Question::current_in_history);
    case Way::snapshot: return habits.left(Question::snapshot_in_history);
    default: break;
  }
  Answers answers;
  if (habits.may(Question::cache, Answer::at_once)) answers = answers | Answer::yes;
  if (habits.may(Question::cache, Answer::later)) answers = answers | Answer::yes;
  if (habits.may(Question::cache, Answer::never)) answers = answers | Answer::no;
  return habits.may(Question::cache, Answer::some) ? answers | Answer::some : answers;
}

// What becomes of a second row at the same time, written in the same way.
Answers second(const Habits &habits, Way second_way, bool same_call) {
  switch (second_way) {
    case Way::history:
      return habits.left(same_call ? Question::second_in_call : Question::second_value);
    case Way::snapshot:
      return habits.left(same_call ? Question::second_snapshot_in_call : Question::second_snapshot);
    case Way::cache: return same_call ? kAny : habits.left(Question::second_cached);
    default: return kAny;
  }
}

void add_once(Alternatives &all, const Alternative &one) {
  if (!among(all, one)) all.push_back(one);
}

}  // namespace

bool same(const Sample &a, const Sample &b) {
  const bool values = a.value == b.value || (std::isnan(a.value) && std::isnan(b.value));
  return a.time == b.time && a.status == b.status && values;
}

bool same(const Alternative &a, const Alternative &b) {
  return a.size() == b.size() &&
         std::is_permutation(a.begin(), a.end(), b.begin(),
                             [](const Sample &x, const Sample &y) { return same(x, y); });
}

bool among(const Alternatives &all, const Alternative &one) {
  return std::any_of(all.begin(), all.end(),
                     [&](const Alternative &other) { return same(other, one); });
}

std::string show(const Alternative &alternative) {
  if (alternative.empty()) return "nothing";
  std::string all;
  for (const Sample &sample : alternative) {
    const std::string one =
        text(show(sample.value), " with status ", sample.status, " at ", clock_text(sample.time));
    append_item(all, one, " and ");
  }
  return all;
}

std::string show(const Alternatives &alternatives) {
  constexpr size_t most = 4;
  std::string all;
  for (size_t i = 0; i < alternatives.size() && i < most; ++i) {
    append_item(all, show(alternatives[i]), ", or ");
  }
  return alternatives.size() > most ? all + ", or others" : all;
}

void Ledger::add(Way way, int64_t call, const Sample &sample) {
  moments_[sample.time].writes.push_back({way, call, sample, false});
  if (way == Way::current || way == Way::snapshot) current_.push_back({way, call, sample, false});
}

void Ledger::add_doubtful(Way way, int64_t call, const Sample &sample) {
  moments_[sample.time].writes.push_back({way, call, sample, true});
  if (way == Way::current || way == Way::snapshot) current_.push_back({way, call, sample, true});
}

std::vector<int32_t> Ledger::times(int64_t begin, int64_t end) const {
  std::vector<int32_t> times;
  for (const auto &[time, moment] : moments_) {
    if (time >= begin && time < end) times.push_back(time);
  }
  return times;
}

// What becomes of a row where others of its time may be. Nobody says so of rows that were written
// in different ways, and where they are not there at once these may arrive in another order.
Answers Ledger::fate_of(const Habits &habits, const std::vector<Write> &before,
                        const Write &write) {
  if (before.empty()) return kAny;
  const Write &last = before.back();
  const bool mixed = std::any_of(before.begin(), before.end(),
                                 [&](const Write &other) { return other.way != write.way; });
  if (last.way != write.way || (mixed && habits.longest_wait > 0)) return kAny;
  const Answers fate = second(habits, write.way, last.call == write.call) & kAny;
  return fate.empty() ? kAny : fate;
}

Alternatives Ledger::after(const Habits &habits, const Moment &moment, size_t writes) {
  Alternatives states{{}};
  std::vector<Write> before;  // those that may be there
  for (size_t i = 0; i < writes; ++i) {
    const Write &write = moment.writes[i];
    const Answers kept = kept_in_history(habits, write.way);
    if (kept == Answers(Answer::no)) continue;
    const bool surely = kept == Answers(Answer::yes) && !write.doubtful;
    const Answers fate = fate_of(habits, before, write);
    before.push_back(write);
    Alternatives next;
    for (const Alternative &state : states) {
      if (!surely) add_once(next, state);
      if (state.empty()) {
        add_once(next, {write.sample});
        continue;
      }
      Alternative beside = state;
      beside.push_back(write.sample);
      if (fate.has(Answer::replaces)) add_once(next, {write.sample});
      if (fate.has(Answer::ignored)) add_once(next, state);
      if (fate.has(Answer::both)) add_once(next, beside);
    }
    states = next;
  }
  return states;
}

Alternatives Ledger::settled(const Habits &habits, int32_t time) const {
  const auto found = moments_.find(time);
  if (found == moments_.end()) return {{}};
  return after(habits, found->second, found->second.writes.size());
}

Alternatives Ledger::pending(const Habits &habits, int32_t time) const {
  const auto found = moments_.find(time);
  if (found == moments_.end()) return {{}};
  Alternatives all;
  const Moment &moment = found->second;
  for (size_t writes = moment.settled; writes < moment.writes.size(); ++writes) {
    for (const Alternative &state : after(habits, moment, writes)) add_once(all, state);
  }
  return all;
}

void Ledger::mark_settled(int32_t time) {
  const auto found = moments_.find(time);
  if (found != moments_.end()) found->second.settled = found->second.writes.size();
}

Alternatives Ledger::current_after(const Habits &habits, size_t writes) const {
  Alternatives states{{}};
  for (size_t i = 0; i < writes; ++i) {
    const Write &write = current_[i];
    const bool same_call = i > 0 && current_[i - 1].call == write.call;
    Alternatives next;
    for (const Alternative &state : states) {
      Answers fate = Answer::replaces;
      const bool older = !state.empty() && write.sample.time < state[0].time;
      const bool equal = !state.empty() && write.sample.time == state[0].time;
      if (write.way == Way::snapshot) {
        const Answers sets = habits.left(Question::snapshot_sets_current);
        fate = {};
        if (sets.has(Answer::never) || older) fate = fate | Answer::ignored;
        if (sets.has(Answer::always)) fate = fate | Answer::replaces;
        if (sets.has(Answer::if_newer) && !older) fate = fate | Answer::replaces;
        if (sets.has(Answer::if_newer) && equal) fate = fate | Answer::ignored;
      } else if (equal) {
        fate = habits.left(same_call ? Question::second_current_in_call : Question::equal_current);
      } else if (older) {
        fate = habits.left(Question::older_current);
      }
      if (fate.has(Answer::replaces)) add_once(next, {write.sample});
      if (fate.has(Answer::ignored) || fate.has(Answer::refused) || write.doubtful) {
        add_once(next, state);
      }
    }
    states = next;
  }
  return states;
}

Alternatives Ledger::current_settled(const Habits &habits) const {
  return current_after(habits, current_.size());
}

Alternatives Ledger::current_pending(const Habits &habits) const {
  Alternatives all;
  for (size_t writes = current_settled_; writes < current_.size(); ++writes) {
    for (const Alternative &state : current_after(habits, writes)) add_once(all, state);
  }
  return all;
}

void Ledger::mark_current_settled() { current_settled_ = current_.size(); }

}  // namespace kelpcheck
