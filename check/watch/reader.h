// The reading side of a watch: what a user of the server would see at the time. It looks at the
// current values of all points at every step, and every few steps at a window of history.
#pragma once

#include "watch/judging.h"
#include "watch/link.h"
#include "watch/recorder.h"

namespace kelpcheck::watch {

class WatchReader {
 public:
  WatchReader(const JournalHead &head, const Grid &grid, const TimeBase &base, Link &link,
              Recorder &recorder);

  void acknowledged(int64_t step, double at);
  void work();
  int64_t due() const;
  // From now on it reads the current values until they have settled.
  void finish();
  bool finished() const { return finished_; }

 private:
  void take(const Link::Event &event);
  void take_failure(const Link::Event &event);
  void take_current(const Link::Event &event);
  void take_window(const Link::Event &event);
  void take_look(const Link::Event &event);
  void found(ReaderFound::Kind kind, const Findings &findings);
  void ask();
  void ask_history(Span steps);
  bool look_is_due() const;
  // Whether there was an outage since the first of the first steps.
  bool was_out() const;
  Span window();
  double now() const { return base_.moment(now_ns()); }

  JournalHead head_;
  Grid grid_;
  TimeBase base_;
  Link &link_;
  Recorder &recorder_;
  Judge judge_;
  double next_read_ = 0;
  int64_t reads_ = 0;
  bool reading_ = false;  // the last read succeeded
  double asked_ = 0;      // when the read that runs began
  Span asked_steps_;

  // Of this watch, the first few that were acknowledged; others, if an outage may have taken them.
  std::vector<int64_t> first_steps_;
  double first_acknowledged_ = 0;
  double first_settled_ = 0;
  int64_t first_point_ = 0;  // of the next query of history
  int64_t points_per_query_ = 1000;
  double last_acknowledged_ = 0;
  int64_t last_step_ = -1;
  bool finishing_ = false, finished_ = false;
  double give_up_ = 0;
};

}  // namespace kelpcheck::watch
