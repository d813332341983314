// Text for people at a terminal: how wide it is, lines broken to fit, colours, and a line that is
// renewed in place.
#pragma once

#include <string>
#include <vector>

namespace kelpcheck {

// Columns of the terminal behind a descriptor, 0 if there is none.
int columns_of(int descriptor);
// Whether NO_COLOR and TERM allow colours.
bool colours_wanted();
// How many columns a text takes, each character being one.
size_t width_of(const std::string &text);
// The words of a text in lines of that many columns; 0 is no limit. A longer word is broken.
std::vector<std::string> wrapped(const std::string &text, size_t columns);

// A line on standard error that says how far something is, while that is a terminal. Anything else
// that is printed there comes after wipe().
class StatusLine {
 public:
  StatusLine();
  bool possible() const { return columns_ > 0; }
  void show(const std::string &text);  // cut to fit
  void wipe();

 private:
  int columns_;
  bool shown_ = false;
};

}  // namespace kelpcheck
