// A load as text, JSON, JUnit XML and HTML.
#pragma once

#include <iosfwd>

#include "report/terminal.h"
#include "result/load.h"

namespace kelpcheck {

// The text report, written as the load goes on, with a line of progress on standard error while
// that is a terminal.
class LoadText {
 public:
  LoadText(const LoadReport &report, std::ostream &out, bool quiet);

  void begin(const std::string &host, double rate);  // 0: the limit is searched
  void phase(const std::string &doing);
  void second(const LoadSecond &second, int64_t number);
  void stage(const LoadStage &stage);
  void end();  // remarks and the sentence

 private:
  void row(const std::vector<std::string> &cells);
  void stage_titles();

  const LoadReport &report_;
  std::ostream &out_;
  StatusLine status_;
  bool quiet_;
  bool titles_ = false, searches_ = false;
};

std::string load_json(const LoadReport &report);
std::string load_junit(const LoadReport &report);
std::string load_html(const LoadReport &report);

}  // namespace kelpcheck
