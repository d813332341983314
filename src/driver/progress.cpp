// The cursor stays at the line's begin, so that a message of the library, which knows nothing of
// the line, covers it.
#include "driver/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>

namespace {

constexpr int64_t first_line_after_ms = 1000;
constexpr int64_t redrawn_after_ms = 100;

struct Progress {
  const char *name = "";
  bool on_terminal = false;
  int64_t next_line_ms = 0;
  int64_t loop_begin_ms = 0;
  size_t shown = 0;  // columns of the line that is on the terminal
};

Progress progress_;

// By the clock that costs least; it is some milliseconds coarse.
int64_t now_ms() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

// One less than there are: in the last one some terminals begin a new line.
size_t columns() {
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col - 1 : 79;
}

// Without the name where that is too long, and cut where even the rest is.
std::string line(int32_t done, int32_t total, const char *unit, int64_t worked_ms) {
  std::string text = std::to_string(done) + " of " + std::to_string(total) + " " + unit;
  if (done > 0) {
    const int64_t left_ms = worked_ms * (total - done) / done;
    text += ", " + std::to_string((left_ms + 999) / 1000) + " s left";
  }
  const std::string named = std::string(progress_.name) + " " + text;
  return (named.size() <= columns() ? named : text).substr(0, columns());
}

// Puts the text in the place of what is shown.
void draw(const std::string &text) {
  std::string padded = text;
  padded.resize(std::max(text.size(), progress_.shown), ' ');
  std::fprintf(stderr, "\r%s\r", padded.c_str());
  progress_.shown = text.size();
}

}  // namespace

void begin_progress(const char *name) {
  progress_ = {.name = name,
               .on_terminal = isatty(STDERR_FILENO) == 1,
               .next_line_ms = now_ms() + first_line_after_ms};
}

void show_progress(int32_t done, int32_t total, const char *unit) {
  if (!progress_.on_terminal) return;
  const int64_t now = now_ms();
  if (done == 0) progress_.loop_begin_ms = now;
  if (now < progress_.next_line_ms) return;
  progress_.next_line_ms = now + redrawn_after_ms;
  draw(line(done, total, unit, now - progress_.loop_begin_ms));
}

void wipe_progress() {
  if (progress_.shown > 0) draw("");
}
