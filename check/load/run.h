// A load from the beginning to the end: room on the server, stages, reading back, clearing up.
#pragma once

#include <functional>
#include <optional>

#include "load/judge.h"
#include "load/team.h"
#include "load/work.h"

namespace kelpcheck {

// Told of what happens.
struct LoadWatcher {
  std::function<void(const std::string &doing)> phase;
  std::function<void(const LoadSecond &second, int64_t number)> second;
  std::function<void(const LoadStage &stage)> stage;
};

class LoadRun {
 public:
  LoadRun(const LoadOptions &options, LoadReport &report, LoadWatcher watcher);

  // Fills the report. SIGINT, SIGTERM and SIGHUP end it early, but not without clearing up. Throws
  // std::runtime_error where nothing can be begun because of the options.
  void work();

 private:
  bool open();
  void require_room();
  bool make();
  void measure();
  void search();
  double burst();
  Schedule schedule_of(double rate, double seconds) const;
  std::optional<LoadStage> run_stage(double rate, double seconds, double uncounted,
                                     const std::string &purpose);
  void watch_stage(const StageOrder &order);
  void take_seconds(const Schedule &schedule, int64_t until);
  LoadSecond second_of(const Schedule &schedule, int64_t second) const;
  int64_t calls_done() const;
  bool room_for(const Schedule &schedule);
  void read_back();
  void clean();
  void remove();
  void remark();
  std::string ask_steward(const std::string &request, int64_t &time);
  bool over() const { return team_.interrupted() != 0 || !report_.problem.empty(); }

  const LoadOptions &o_;
  LoadReport &report_;
  LoadWatcher watcher_;
  Work work_;
  Signals signals_;
  std::unique_ptr<Worker> steward_;
  Team team_;
  int64_t seconds_there_ = 0;  // from the begin of the rows' times to the server's time
  int64_t next_second_ = 1;    // of the stage, to be told of
};

}  // namespace kelpcheck
