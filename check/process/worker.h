// A child that answers requests, one at a time, and never keeps its parent waiting: if a call
// hangs, crashes or ends the process, the answer to its request says so.
#pragma once

#include <memory>
#include <optional>

#include "process/call_board.h"
#include "process/child.h"
#include "process/shared.h"

namespace kelpcheck {

class Worker {
 public:
  // Answers a request; both are lines of text. It runs in the child.
  using Serve = std::function<std::string(const std::string &request)>;
  // Starts the child; `make` runs in it, and its calls are noted on the board.
  explicit Worker(const std::function<Serve(CallBoard &board)> &make);
  ~Worker();
  Worker(const Worker &) = delete;
  Worker &operator=(const Worker &) = delete;

  struct Answer {
    std::string text;  // of the child
    std::string end;   // or how it ended: "kelp2_init did not return within 30 s"
    bool hung = false;
    std::string said;  // what the library printed meanwhile
  };

  // Only after the answer to the last request, and while it has not ended.
  void ask(const std::string &request);
  // Does not wait. An answer, or the end of the process, which can come unasked and is reported
  // once; a child that is in one call for more than `timeout` seconds is killed.
  std::optional<Answer> take(double timeout);
  bool gone() const { return gone_; }
  void kill() const { child_->kill(); }
  // To be polled.
  std::vector<int> descriptors() const { return {child_->records(), child_->output()}; }
  const CallBoard &board() const { return *board_; }

 private:
  std::optional<Answer> ended(bool hung, const std::string &end);

  Shared<CallBoard> board_;
  int requests_ = -1;
  std::unique_ptr<Child> child_;
  std::string said_;
  std::string overdue_;  // why it was killed
  int64_t killed_ = 0;
  bool gone_ = false;
};

}  // namespace kelpcheck
