// What a load came to: stages, each at a rate of its own, and the highest rate that the server
// keeps up with. Plain records, which is all that its reports see. Times are in seconds, rates in
// rows per second.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "result/evidence.h"
#include "result/figures.h"
#include "result/judged.h"

namespace kelpcheck {

enum class LimitedBy { none, server, client };
const char *name_of(LimitedBy limit);

struct Latency {
  double median = 0, p95 = 0, p99 = 0, p999 = 0, longest = 0;
};
Latency latency_of(const Figure &figure);

// A part of a stage, for comparing.
struct LoadBatch {
  int64_t calls = 0;
  double mean = 0, median = 0, p95 = 0, p99 = 0;
};

// A second of a stage, by the ends of calls.
struct LoadSecond {
  double offered = 0, achieved = 0;
  int64_t failures = 0;
  double p99 = 0;
  int64_t backlog = 0;  // calls that are due and not done at the end
};

struct LoadStage {
  std::string purpose;  // "rate", "climb", "halving", "confirmation", "50 % of the limit", ...
  double offered = 0, achieved = 0;
  int64_t calls = 0, rows = 0, failures = 0;  // failures among the calls; rows of the others
  double seconds = 0;
  Latency latency;       // since the intended start, of the calls that did not fail
  Latency service;       // since the start
  double most_late = 0;  // how late the calls were started at worst
  int64_t backlog = 0;   // at worst, in calls
  bool ended_early = false;
  bool overloaded = false;  // the backlog grew all the time
  bool kept_up = false;
  LimitedBy limited_by = LimitedBy::none;
  std::string reason;       // why it did not keep up
  double outside = 0;       // share of the time that the sessions spent outside the library
  double late = 0;          // how late the calls were started that waited for nobody: 99 %
  double host_waiting = 0;  // share of the time that the sessions waited for a processor
  std::vector<LoadBatch> batches;
};

struct LoadLimit {
  double rows_per_second = 0;
  LimitedBy limited_by = LimitedBy::none;
  bool confirmed = false;
  double beyond = 0;   // the lowest rate that did not hold; 0 where none was met
  std::string reason;  // what happened there, or why the climb ended: "the backlog grows"
};

struct LoadReport {
  std::string doing, work;  // as on the command line, and in words
  int32_t sessions = 0;
  double within = 0;
  std::vector<LoadStage> stages;
  std::vector<LoadSecond> last_seconds;  // of the last stage
  double burst = 0;                      // rows per second of one call after another
  bool searched = false;
  LoadLimit limit;

  int64_t rows_written = 0;
  bool read_back = false;  // whether rows were looked at
  std::string read_how;    // in words, or why not
  Evidence evidence;
  std::vector<std::string> remarks;
  std::string problem;  // what ended it before its time
  bool connected = false;
  int interrupted = 0;  // the signal
  std::string left;     // on the server, of what should have been removed

  JudgedLibrary library;
  std::string machine;
  int64_t started = 0;
  double seconds = 0;
  Figures figures{};
  std::vector<std::pair<std::string, std::string>> facts;  // in words, for people
  // For programs: texts, and numbers apart.
  std::vector<std::pair<std::string, std::string>> texts;
  std::vector<std::pair<std::string, double>> numbers;

  // "measured", "failed", "no connection", "interrupted" or "nothing measured"
  std::string verdict() const;
  int exit_status() const;
  // One sentence.
  std::string summary() const;
};

}  // namespace kelpcheck
