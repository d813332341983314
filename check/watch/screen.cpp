#include "watch/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>

#include "result/clock.h"
#include "result/text.h"

namespace kelpcheck::watch {

namespace {

constexpr double kBetween = 0.2;  // seconds

size_t terminal_width() {
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

}  // namespace

Screen::Screen(std::ostream &out, bool quiet)
    : out_(out), quiet_(quiet), terminal_(isatty(STDERR_FILENO) == 1) {}

void Screen::say(const Notice &notice) {
  wipe();
  const std::string clock = clock_text(static_cast<int64_t>(notice.at)).substr(11);
  out_ << clock << "  " << printable(notice.words) << "\n" << std::flush;
}

void Screen::note(const std::string &words) {
  if (quiet_) return;
  wipe();
  out_ << printable(words) << "\n" << std::flush;
}

void Screen::live(const std::string &words) {
  if (!terminal_ || (shown_ && seconds_since(shown_at_) < kBetween)) return;
  shown_at_ = now_ns();
  shown_ = true;
  std::cerr << "\r\033[K" << printable(words).substr(0, terminal_width() - 1) << std::flush;
}

void Screen::wipe() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
  shown_ = false;
}

}  // namespace kelpcheck::watch
