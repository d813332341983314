// What has been acknowledged of one point, in the order of the calls, and what may therefore be
// read of it: by what is known of the server, one thing, several or anything between.
#pragma once

#include <map>

#include "habits/habits.h"
#include "probe/handles.h"

namespace kelpcheck {

enum class Way { history, current, snapshot, cache };

// What a reading at one time may show: each alternative is a number of rows of that time.
using Alternative = std::vector<Sample>;
using Alternatives = std::vector<Alternative>;

class Ledger {
 public:
  // An acknowledged row. Rows of one call have one number; calls are numbered from 1.
  void add(Way way, int64_t call, const Sample &sample);
  // An interrupted or refused row: it may be there or not.
  void add_doubtful(Way way, int64_t call, const Sample &sample);

  // The times that have rows, from `begin` on and before `end`; also those whose rows need not be
  // in the history.
  std::vector<int32_t> times(int64_t begin, int64_t end) const;

  // What history may show at a time once everything is readable, and what it may show until then.
  Alternatives settled(const Habits &habits, int32_t time) const;
  Alternatives pending(const Habits &habits, int32_t time) const;
  // Everything acknowledged of that time has been read: what stood before is gone.
  void mark_settled(int32_t time);

  // The current value: no alternative of it has more than one row, none of them for a failed entry.
  Alternatives current_settled(const Habits &habits) const;
  Alternatives current_pending(const Habits &habits) const;
  void mark_current_settled();

 private:
  struct Write {
    Way way;
    int64_t call;
    Sample sample;
    bool doubtful;
  };
  struct Moment {
    std::vector<Write> writes;
    size_t settled = 0;
  };

  static Answers fate_of(const Habits &habits, const std::vector<Write> &before,
                         const Write &write);
  static Alternatives after(const Habits &habits, const Moment &moment, size_t writes);
  Alternatives current_after(const Habits &habits, size_t writes) const;

  std::map<int32_t, Moment> moments_;
  std::vector<Write> current_;  // of the ways that can set it
  size_t current_settled_ = 0;
};

bool same(const Sample &a, const Sample &b);
bool same(const Alternative &a, const Alternative &b);
bool among(const Alternatives &all, const Alternative &one);
std::string show(const Alternative &alternative);
std::string show(const Alternatives &alternatives);

}  // namespace kelpcheck
