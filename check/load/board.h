// What a session's process and the one that leads it share: the order for a stage, and what was
// measured of it, which outlives the process.
#pragma once

#include <atomic>

#include "load/schedule.h"
#include "result/figures.h"

namespace kelpcheck {

// Told to all sessions at once.
struct LoadControl {
  std::atomic<bool> stop;    // what runs ends as soon as its call has
  std::atomic<int64_t> cut;  // calls that are due later are not made
  // Moves the cut forward, never back.
  void end_at(int64_t moment) {
    int64_t before = cut.load();
    while (moment < before && !cut.compare_exchange_weak(before, moment)) {
    }
  }
};

struct StageOrder {
  Schedule schedule;
  int64_t counted_from;  // calls that are due before count in no figure
  int64_t give_up;       // the stage is cut when a call is so many nanoseconds late; 0: never
  int64_t first;         // of the session's calls
  int64_t until;         // calls end here, due or not; 0: when all are made

  bool counts(int64_t intended) const { return intended >= counted_from; }
};

// An equal part of the counted calls, by their intended starts.
inline constexpr int kSlices = 16;
struct StagePart {
  Figure latency;
  int64_t least_late;  // of any of its calls, in nanoseconds
};

// A second by the ends of calls. The leader has so many seconds to take it.
inline constexpr int kSecondsKept = 16;
struct SecondSlot {
  int64_t second;  // of the stage, from 1; 0: empty
  int64_t failures;
  Figure latency;
};

inline constexpr int64_t kFailedWritesKept = 4096;

struct StageBoard {
  StageOrder order;
  std::atomic<int64_t> next;  // the session's call that runs or comes next
  std::atomic<int64_t> done;  // calls, counted or not
  int64_t all_rows;           // written or delivered, counted or not
  int64_t calls, failures;    // counted ones
  int64_t most_late, last_end;
  Figure latency, service, late;  // late: of calls that waited for nobody
  StagePart slices[kSlices];
  SecondSlot seconds[kSecondsKept];
  // Nanoseconds of the session's process during the stage.
  int64_t wall, waited, in_library, on_processor, waited_for_processor;
  // Numbers of the first write of this stage, and of those that failed.
  int64_t first_write, failed_writes, failed_write[kFailedWritesKept];
};

struct LoadBoard {
  std::atomic<bool> made;        // the points are there
  std::atomic<int64_t> writes;   // that were begun, over all stages
  std::atomic<int64_t> written;  // rows that the server acknowledged
  StageBoard stage;

  void begin_stage(const StageOrder &order);
};

}  // namespace kelpcheck
