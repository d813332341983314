// A run as text, JSON, JUnit XML and HTML.
#pragma once

#include <iosfwd>
#include <map>

#include "report/estimate.h"
#include "report/terminal.h"
#include "result/run.h"

namespace kelpcheck {

// The text report, written as the run goes on, with a line of progress on standard error while that
// is a terminal.
class TextReport {
 public:
  // `columns` of the terminal behind `out`, 0 if there is none; `weights` say what checks take in
  // relation to each other.
  TextReport(const Run &run, std::ostream &out, int columns, std::map<std::string, double> weights);

  void begin();
  void check_ended(const CheckResult &result);
  void tick(const CheckResult &running, const Progress &progress);
  void end();  // figures, findings, failures, verdict

 private:
  std::string coloured(const char *code, const std::string &word) const;
  void paragraph(size_t indent, const std::string &words);
  void headline(const CheckResult &result);
  void details(const CheckResult &result);
  void output(const CheckResult &result);
  void figures();
  void findings();
  void unusual();
  void failures();

  const Run &run_;
  std::ostream &out_;
  int columns_;
  bool colours_;
  size_t not_begun_ = 0;  // checks, because there is no session or the run was interrupted
  Estimate estimate_;
  StatusLine status_;
};

std::string json_report(const Run &run);
std::string junit_report(const Run &run);
std::string html_report(const Run &run);

}  // namespace kelpcheck
