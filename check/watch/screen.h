// The terminal while a watch or a verification runs: lines that stay, on the report's stream, and
// on standard error, if that is a terminal, one that is kept up to date.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "watch/story.h"

namespace kelpcheck::watch {

class Screen {
 public:
  Screen(std::ostream &out, bool quiet);
  ~Screen() { wipe(); }
  Screen(const Screen &) = delete;
  Screen &operator=(const Screen &) = delete;

  std::ostream &out() { return out_; }
  // "17:02:11  outage: kelp2_write_value gave -2"; times are UTC.
  void say(const Notice &notice);
  // Plain words, unless the report is to be quiet.
  void note(const std::string &words);
  // A few times a second at most.
  void live(const std::string &words);
  void wipe();

 private:
  std::ostream &out_;
  bool quiet_, terminal_;
  bool shown_ = false;
  int64_t shown_at_ = 0;
};

}  // namespace kelpcheck::watch
