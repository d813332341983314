// The cursor stays at the start of the line, so that a message of the library, which knows nothing
// of the line, covers it. A signal can come at any moment: what its handler looks at is set before
// the line is drawn, and it writes without the stream.
#include "driver/progress.h"

#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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
};

Progress progress_;
volatile sig_atomic_t shown_columns = 0;  // of the line that is on the terminal
constexpr size_t most_columns = 500;

constexpr std::array<char, most_columns> all_blanks() {
  std::array<char, most_columns> blanks{};
  blanks.fill(' ');
  return blanks;
}
constexpr std::array<char, most_columns> blanks = all_blanks();

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
  return known ? std::min<size_t>(size.ws_col - 1, most_columns) : 79;
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
  padded.resize(std::max<size_t>(text.size(), shown_columns), ' ');
  shown_columns = static_cast<sig_atomic_t>(padded.size());
  std::fprintf(stderr, "\r%s\r", padded.c_str());
  shown_columns = static_cast<sig_atomic_t>(text.size());
}

// Handles a signal whose default action is in place again, so that raising it ends the process.
void wipe_and_die(int number) {
  if (shown_columns > 0) {
    const bool written = write(STDERR_FILENO, "\r", 1) == 1 &&
                         write(STDERR_FILENO, blanks.data(), shown_columns) > 0 &&
                         write(STDERR_FILENO, "\r", 1) == 1;
    static_cast<void>(written);  // there is no more to be done about a terminal that is gone
  }
  raise(number);
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
  if (shown_columns > 0) draw("");
}

void wipe_progress_on_signals() {
  for (const int number : {SIGINT, SIGTERM}) {
    struct sigaction before {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = wipe_and_die;
    action.sa_flags = SA_RESETHAND | SA_NODEFER;
    sigaction(number, &action, nullptr);
  }
}
