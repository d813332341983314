// The child's side of a check: its options, and the way to the supervisor, to which everything goes
// as records.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "habits/habits.h"
#include "probe/claim.h"
#include "probe/context.h"
#include "process/child.h"
#include "result/run.h"

namespace kelpcheck {

// What the supervisor reads of a family that runs.
struct CheckBoard {
  CallBoard calls;
  std::atomic<int64_t> done, total;  // of the check that runs
  std::atomic<Unit> unit;
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
  CheckContext(const CheckOptions &options_, const Holder &holder, CheckBoard &board,
               RecordPipe records)
      : Context(options_.server, board.calls),
        options(options_),
        holder_(holder),
        board_(board),
        records_(records) {}

  const CheckOptions &options;
  Habits habits;
  int32_t begin = options.begin;  // of the run's data; later where the server refuses that

  // The run's data begin at another time from now on.
  void move_begin(int32_t time);

  // Strikes out the answers that a reading does not allow; one that leaves none is a difference.
  // Whether it leaves any.
  bool read(Question question, Answers allowed, const std::string &where, const std::string &got);
  // Throws Unknown unless something is known of it.
  void need(Question question) const;
  // It took that many seconds until something acknowledged was readable.
  void waited(double seconds);
  // What the next family has to know, as a record.
  void send_habit(Question question) const;
  void send(const nlohmann::json &record) const;
  // Something that servers may do differently, for the table "This server".
  void finding(const std::string &question, const std::string &answer) const;
  void plot(const Plot &plot) const;
  void connected() const;
  // The run has its prefix to itself from now on.
  void claimed() const;
  // As whom the run claims it.
  const Holder &holder() const { return holder_; }
  void progress(int64_t done, int64_t total, Unit unit = Unit::points) const {
    board_.unit.store(unit, std::memory_order_relaxed);
    board_.done.store(done, std::memory_order_relaxed);
    board_.total.store(total, std::memory_order_relaxed);
  }

 private:
  const Holder &holder_;
  CheckBoard &board_;
  RecordPipe records_;
};

}  // namespace kelpcheck
