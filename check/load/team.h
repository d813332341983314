// The sessions of a load, a process each, seen from the one that leads them: they all get the same
// request at a time, and one that hangs or ends is started again.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "load/board.h"
#include "load/options.h"
#include "process/shared.h"
#include "process/signals.h"
#include "process/worker.h"

namespace kelpcheck {

class Team {
 public:
  Team(const LoadOptions &options, Signals &signals);

  size_t size() const { return members_.size(); }
  LoadBoard &board(size_t i) const { return *members_[i]->board; }
  LoadControl &control() const { return *control_; }

  // Asks all, and returns when all have answered; their texts. A process that ends meanwhile has
  // answered with the story of that, but in a stage another one goes on in its place. `tick` runs
  // about ten times a second.
  std::vector<std::string> ask(const std::string &request, const std::function<void()> &tick);
  // The first text that is not empty.
  static std::string first_problem(const std::vector<std::string> &answers);

  // The signal that asked for an end; a second one ends all sessions at once.
  int interrupted() const { return interrupted_; }
  // Looks for signals; how many there were.
  int take_signal();
  Figures figures() const;
  const std::string &said() const { return said_; }  // what the library printed

 private:
  struct Member {
    Shared<LoadBoard> board;
    std::unique_ptr<Worker> worker;
    bool waited_for = false;
    int ends = 0;             // without a call done between
    int64_t done_before = 0;  // at the last end
    std::string text;
  };

  void start(size_t i);
  void take(size_t i, const std::string &request);
  bool goes_on(Member &member, const std::string &request) const;

  const LoadOptions &options_;
  Signals &signals_;
  Shared<LoadControl> control_;
  std::vector<std::unique_ptr<Member>> members_;
  Figures ended_{};  // of processes that have ended
  int interrupted_ = 0, signals_taken_ = 0;
  std::string said_;
};

}  // namespace kelpcheck
