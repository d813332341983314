// What a watch came to, in the words that all its reports share.
#pragma once

#include "result/watch.h"

namespace kelpcheck::watch {

class WatchWords {
 public:
  explicit WatchWords(const WatchReport &report);

  // One line that says how it went, without the verdict itself.
  std::string summary() const;
  // With the date where the watch saw more than one; UTC.
  std::string clock(double moment) const;
  std::string steps() const;
  std::string samples() const;
  std::string reader() const;
  std::string outage(const Outage &outage) const;  // without its begin
  std::string stall(const Stall &stall) const;
  // "17:02:05 to 17:02:08, all 1000 points, 4000 values, acknowledged 3 to 0 s before ..."
  std::string damage(const Patch &patch) const;
  std::string points(const Ranges &points) const;
  std::string oddity(const Oddity &odd) const;
  // When, where, which server and library.
  std::vector<std::pair<std::string, std::string>> facts() const;

 private:
  const WatchReport &report_;
  bool days_;
};

// "1 step", "1,234 steps"
std::string counted(int64_t count, const std::string &what);
// "8.2 s", "3 min 12 s", "2 d 4 h"
std::string span_text(double seconds);

}  // namespace kelpcheck::watch
