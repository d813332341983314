// A session's process: it makes its points, makes the calls of a stage when they are due, and reads
// back what it wrote. It is led by requests, and what it measures goes to its board.
#pragma once

#include <memory>
#include <optional>

#include "load/board.h"
#include "load/work.h"
#include "probe/session.h"

namespace kelpcheck {

class Hand {
 public:
  Hand(const LoadOptions &options, int32_t session, LoadBoard &board, LoadControl &control,
       CallBoard &calls);

  // "make": the points, and what is written before the measurement. "stage": the order that the
  // board holds. "read back": a sample of what the last stage wrote. Gives an empty text, or what
  // went wrong; for "read back", an account.
  std::string serve(const std::string &request);

  // Own names of the nodes of all sessions; each has a thousand points at most.
  static int32_t nodes_per_session(const LoadOptions &options);

 private:
  struct Outcome {
    int64_t rows = 0;  // written or delivered
    bool failed = false;
  };

  void connect();
  void try_to_connect();
  void look_up();
  void make();
  void make_points(int32_t node, int32_t first, int32_t last);
  void fill();
  std::string name_of_point(int32_t point) const;

  void run_stage();
  bool wait_for(int64_t moment);
  void prepare(CallKind kind);
  Outcome act(CallKind kind, int64_t call);
  Outcome try_to(CallKind kind, int64_t call);
  Outcome write(CallKind kind);
  Outcome read() const;
  Outcome query(int64_t call) const;
  void note(int64_t intended, bool waited, int64_t start, int64_t end, const Outcome &outcome);
  int32_t time_of(int64_t second) const;

  const LoadOptions &options_;
  int32_t session_number_;
  Work work_;
  LoadBoard &board_;
  StageBoard &stage_;
  LoadControl &control_;
  Context context_;
  std::unique_ptr<Session> session_;
  int64_t refused_ = 0;  // when the last attempt to make a session failed
  Ids ids_;
  Who who_;  // the same
  Columns columns_;
  int64_t prepared_ = -1;  // the write that the columns are of
};

}  // namespace kelpcheck
