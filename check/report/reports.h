// A run as text, JSON, JUnit XML and HTML.
#pragma once

#include <iosfwd>
#include <map>

#include "result/run.h"

namespace kelpcheck {

// The text report, written as the run goes on, with a line of progress on standard error while that
// is a terminal.
class TextReport {
 public:
  TextReport(const Run &run, std::ostream &out, bool is_terminal);

  // How long each check takes, roughly, for the time left.
  void begin(const std::map<std::string, int> &weights);
  void check_ended(const CheckResult &result);
  // Of the check that runs: how many of its points are done, 0 of 0 where it does not say.
  void tick(const CheckResult &running, int64_t done, int64_t total);
  void end();  // figures, findings, verdict

 private:
  void wipe();
  std::string coloured(const char *code, const std::string &word) const;
  void figures();

  const Run &run_;
  std::ostream &out_;
  bool colours_, progress_;
  bool shown_ = false;
  int64_t start_ = 0;
  double weight_done_ = 0, weight_all_ = 0;
  std::map<std::string, int> weights_;
};

std::string json_report(const Run &run);
std::string junit_report(const Run &run);
std::string html_report(const Run &run);

}  // namespace kelpcheck
