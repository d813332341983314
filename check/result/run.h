// What a run of the checks amounts to: everything that its reports show.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "result/evidence.h"
#include "result/figures.h"
#include "result/judged.h"
#include "result/options.h"

namespace kelpcheck {

// Unknown: a question that the check rests on could not be answered. Moot: what is known of the
// server leaves nothing to check; that is neither good nor bad.
enum class Verdict { passed, failed, not_run, unknown, moot };
const char *name_of(Verdict verdict);  // "passed", "failed", "not run", "unknown", "does not apply"

// The reason of what cannot be run without a session.
inline constexpr const char *kNoSession = "no session";

struct CheckResult {
  std::string name, family, promise;
  Verdict verdict = Verdict::not_run;
  double seconds = 0;
  Evidence evidence;
  std::string reason;  // why it was not run, or what ended it
  std::string output;  // what the library printed meanwhile

  // What went wrong, in lines.
  std::vector<std::string> explanation() const;
};

// A question that the header leaves open, and what this server's answer is.
struct Habit {
  std::string code, question;
  bool constant = false;  // held to
  std::string state;      // "known", "open" (several answers are left), "unknown", "not asked"
  std::string answer;     // of what is known or open; why, of what is unknown
  std::string bundled;    // the bundled library's answer
  bool differs = false;   // known or open, and not the bundled library's
};

// How far the check that runs is; of 0 where it does not say.
enum class Unit : int32_t { points, rows, nodes };
struct Progress {
  int64_t done = 0, total = 0;
  Unit unit = Unit::points;
  double seconds = 0;  // since it began
};

struct Run {
  explicit Run(const CheckOptions &options_) : options(options_) {}

  const CheckOptions &options;
  JudgedLibrary library;
  std::string machine;  // the name of this one
  int64_t started = 0;  // time(2)
  double seconds = 0;
  std::vector<CheckResult> results;
  std::vector<std::pair<std::string, std::string>> findings;
  std::vector<Habit> habits;
  Plot plot;
  Figures figures{};
  size_t checks_in_all = 0;
  bool connected = false;
  std::string refusal;  // why nothing was begun, though there is a session
  int interrupted = 0;  // the signal's number

  size_t count(Verdict verdict) const;
  // "passed", "failed", "unknown", "refused", "no connection" or "interrupted"
  std::string verdict() const;
  // Constant habits that are not the bundled library's, in a line each.
  std::vector<std::string> unusual() const;
  // One line that says how it went.
  std::string summary() const;
  int exit_status() const;
  // What somebody whose run came to nothing may try next; empty otherwise.
  std::string next_step() const;
  // When, where, which server and library, in words.
  std::vector<std::pair<std::string, std::string>> facts() const;
};

}  // namespace kelpcheck
