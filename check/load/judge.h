// What a stage shows: whether the server kept up with the rate, and if not, whether the server is
// the limit or this program.
#pragma once

#include "load/board.h"
#include "result/load.h"

namespace kelpcheck {

// What the sessions of a stage measured together.
struct StageSum {
  explicit StageSum(const StageOrder &order_) : order(order_) {}
  void add(const StageBoard &session);

  StageOrder order;
  int64_t calls = 0, failures = 0, all_rows = 0;
  int64_t most_late = 0, last_end = 0;
  int64_t interrupted = INT64_MAX;  // when: the stage has no calls after that
  Figure latency{}, service{}, late{};
  StagePart slices[kSlices]{};
  double outside = 0, host_waiting = 0;  // sums over sessions
  int64_t waited_for_processor = 0;
  int sessions = 0;
};

// Whether calls waited longer and longer: the shortest wait of each quarter of these parts of equal
// length is longer than that of the quarter before, and all of it is more than 1 % of their time.
bool backlog_grows(const std::vector<int64_t> &least_late, int64_t part);

// `offered` in rows per second; `cut` says that the stage was ended early. Seconds.
LoadStage judge(const StageSum &sum, double offered, double within, bool cut);

}  // namespace kelpcheck
