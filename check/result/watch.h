// What a watch came to: outcomes of its steps, outages, what became of every value, and what
// happened when. Plain records, which is all that its reports see.
//
// Moments are seconds since 1970 on the watch's own time base, the server's clock as it was when
// the watch began. Points and steps are counted from 0.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "result/judged.h"
#include "result/options.h"
#include "result/ranges.h"

namespace kelpcheck::watch {

// Of a step. Nobody knows whether an unknown one took effect; a skipped one was never called; while
// no watch ran nothing was written, and nothing is said about the server.
enum class Outcome : uint8_t { acknowledged, failed, unknown, skipped, not_watched };
inline constexpr int kOutcomes = 5;
const char *name_of(Outcome outcome);

struct StepCounts {
  int64_t acknowledged = 0, failed = 0, unknown = 0, skipped = 0, not_watched = 0;
};

struct Outage {
  double begin = 0;
  double seconds = 0;
  bool over = false;               // whether an acknowledgement came
  int64_t failed_calls = 0;        // that gave a code, hung or ended the process
  int64_t skipped = 0;             // steps
  std::vector<std::string> codes;  // "-2", "hung", "crashed", "no session": each once
  double lost_seconds = 0;         // of acknowledged data before it
};

// Steps that passed inside a call that came to a good end.
struct Stall {
  double begin = 0;
  double seconds = 0;
  int64_t skipped = 0;
};

// What became of every (point, time). acknowledged = present + changed + lost.
struct Samples {
  int64_t acknowledged = 0, present = 0, lost = 0, changed = 0;
  int64_t foreign = 0;    // rows that no step wrote
  int64_t recovered = 0;  // rows of failed and unknown steps
  Samples &operator+=(const Samples &other);
};

// Values of the same points over neighbouring steps.
struct Patch {
  Span steps;
  Ranges points;
  int64_t values = 0;
  double before_outage = -1;  // seconds from its last step to the next outage; negative: none
  double outage = 0;          // the begin of that outage
};

// A row or a value that should not be there, or not so.
struct Oddity {
  std::string point;
  int64_t time = 0;
  std::string expected, got;
};

// What the reader saw while the watch ran.
struct ReaderFindings {
  bool succeeded = false;  // at least once
  int64_t stale = 0;       // point values, over all reads
  int64_t foreign = 0;
  int64_t holes = 0;
  std::vector<Oddity> examples;
};

// A stretch of the time line.
struct Column {
  int64_t steps[kOutcomes] = {};
  float typical = 0, longest = 0;  // seconds of a write; 0 without one
};

struct TimeLine {
  int64_t steps_per_column = 1;
  std::vector<Column> columns;
};

enum class WatchVerdict { passed, failed, unknown };
const char *name_of(WatchVerdict verdict);

struct WatchReport {
  std::string mode;  // "watch" or "verify"
  WatchVerdict verdict = WatchVerdict::unknown;
  std::vector<std::string> reasons;  // why it is not passed, the weightiest first
  std::vector<std::string> remarks;  // what else the reader of the verdict has to know
  int interrupted = 0;               // the signal that ended the verification
  bool no_connection = false;        // at the start

  int64_t first_time = 0, every = 1;  // of the steps; the time is 0 if none was begun
  int64_t steps_in_all = 0;           // of the grid, from the first to the last that is known
  int64_t points = 0;
  int64_t judged_points = 0;  // with --share not all
  double share = 1;
  double typical_write = 0, longest_write = 0;  // seconds

  StepCounts steps;
  Samples samples;
  bool verified = false;  // whether the samples were read to their end
  ReaderFindings reader;
  std::vector<Outage> outages, reader_outages;
  std::vector<Stall> stalls;
  std::vector<Patch> losses, changes;
  Samples beyond;  // lost and changed values that the lists have no room for
  std::vector<Oddity> oddities;
  TimeLine line;
  double verify_seconds = 0;
  int64_t rows_read = 0;

  Server server;
  JudgedLibrary library;
  std::string journal, machine;
  double settle = 0, timeout = 0;
  int64_t started = 0;
  double seconds = 0;

  int64_t time_of(int64_t step) const { return first_time + step * every; }
  int exit_status() const;
};

}  // namespace kelpcheck::watch
