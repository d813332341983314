// The child's side of a check: its options, and the way to the supervisor, to which everything goes
// as records.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "probe/context.h"
#include "process/child.h"

namespace kelpcheck {

// What the supervisor reads of a family that runs.
struct CheckBoard {
  CallBoard calls;
  std::atomic<int64_t> done, total;  // points of the check that runs
};

// Thrown by a check: a question that it rests on has no answer, or one that leaves nothing to
// check. The text says which.
struct Unknown : std::runtime_error {
  using std::runtime_error::runtime_error;
};
struct Moot : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class CheckContext : public Context {
 public:
  CheckContext(const CheckOptions &options_, CheckBoard &board, RecordPipe records)
      : Context(options_.server, board.calls),
        options(options_),
        board_(board),
        records_(records) {}

  const CheckOptions &options;

  void send(const nlohmann::json &record) const;
  // Something that servers may do differently, for the table "This server".
  void finding(const std::string &question, const std::string &answer) const;
  void plot(const Plot &plot) const;
  void connected() const;
  void progress(int64_t done, int64_t total) const {
    board_.done.store(done, std::memory_order_relaxed);
    board_.total.store(total, std::memory_order_relaxed);
  }

 private:
  CheckBoard &board_;
  RecordPipe records_;
};

}  // namespace kelpcheck
