// The writing side of a watch: which step is next, when it is called, and what became of it.
#pragma once

#include "watch/link.h"
#include "watch/recorder.h"

namespace kelpcheck::watch {

class WatchWriter {
 public:
  struct Plan {
    Grid grid;
    TimeBase base;
    int64_t points;
    int64_t next;  // the first step to write
    int64_t end;   // one behind the last step, INT64_MAX for none
    bool fresh;    // whether no step has been written before
  };
  WatchWriter(const Plan &plan, Link &link, Recorder &recorder,
              std::function<void(int64_t step, double at)> acknowledged)
      : plan_(plan),
        link_(link),
        recorder_(recorder),
        acknowledged_(std::move(acknowledged)),
        next_(plan.next) {}

  // Does what is due now.
  void work();
  // now_ns() when something is due without an event.
  int64_t due() const;
  // No new steps.
  void stop();
  bool finished() const { return !writing_ && (stopped_ || next_ >= plan_.end); }
  // Why the very first call was refused by a session that works; empty if it was not.
  const std::string &refusal() const { return refusal_; }
  int64_t acknowledged_steps() const { return acknowledged_steps_; }
  double last_acknowledged() const { return last_acknowledged_; }

 private:
  void take(const Link::Event &event);
  void take_write(const Link::Event &event);
  void take_session(const Link::Event &event);
  void start_steps();
  void skip(int64_t step, bool busy);
  double now() const { return plan_.base.moment(now_ns()); }

  Plan plan_;
  Link &link_;
  Recorder &recorder_;
  std::function<void(int64_t, double)> acknowledged_;
  int64_t next_;            // the first step of which nothing has been decided
  bool announced_ = false;  // that step's line is in the journal, the call comes with its second
  bool writing_ = false;
  bool after_call_ = false;  // steps passed during a call that has just ended
  bool stopped_ = false;
  int64_t asked_ns_ = 0;
  int failures_ = 0;  // in a row, of a session that works
  int64_t calls_ = 0, acknowledged_steps_ = 0;
  double last_acknowledged_ = 0;
  std::string refusal_;
};

}  // namespace kelpcheck::watch
