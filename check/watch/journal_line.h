// What a journal holds, line by line: the head, then what happened in the order in which it did.
#pragma once

#include <string>
#include <variant>

#include "result/options.h"
#include "result/watch.h"

namespace kelpcheck::watch {

inline constexpr int kJournalVersion = 1;

struct JournalHead {
  Server server;
  std::string machine, program_version;
  int64_t points = 0;
  uint64_t seed = 0;
  int64_t every = 1;  // seconds
  double settle = 5;
};

// The tree stands and both sessions do.
struct WatchBegan {
  int64_t first;  // the time of step 0
  double offset;  // of the server's clock to that of the machine
};
// Before a call; `at` is the moment that it is meant for, or is late by.
struct StepBegan {
  int64_t step;
  double at;
};
// After it. The code says what a call gave or how it ended: "-2", "hung", "crashed: ...".
struct StepEnded {
  int64_t step;
  double at;  // the start of the call
  double seconds;
  Outcome outcome;
  std::string code;
  Ranges failed;     // points
  std::string said;  // what the library printed
};
struct StepSkipped {
  int64_t step;
  bool busy;  // the call before it ran on, rather than that there was no session
};
struct SessionRefused {
  double at;
  std::string code;
  std::string said;
};
// `drift` is how far the server's clock is ahead of where it was.
struct SessionMade {
  double at;
  double drift;
};
// Another watcher goes on; what lies between was not watched.
struct Resumed {
  double at;
};
// The reader saw the current values of all points, for the first time or after it could not.
struct ReaderReads {
  double at;
};
struct ReaderLost {
  double at;
  std::string code;
};
// Point values that are stale or foreign, or holes in history.
struct ReaderFound {
  enum Kind { stale, foreign, hole };
  Kind kind;
  double at;
  int64_t values;
  Oddity example;
};
// Whether rows of the first steps became history.
struct HistoryLooked {
  double at;
  bool kept;
};
struct WatchEnded {
  double at;
  std::string why;
};

using JournalLine =
    std::variant<WatchBegan, StepBegan, StepEnded, StepSkipped, SessionRefused, SessionMade,
                 Resumed, ReaderReads, ReaderLost, ReaderFound, HistoryLooked, WatchEnded>;

// One line of JSON each, without its end.
std::string to_json(const JournalHead &head);
std::string to_json(const JournalLine &line);

// Throw std::runtime_error for what is no such line.
JournalHead parse_head(const std::string &text);
JournalLine parse_line(const std::string &text);

}  // namespace kelpcheck::watch
