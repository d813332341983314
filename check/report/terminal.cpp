#include "report/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace kelpcheck {

namespace {

bool begins_character(char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }

// The bytes of the first characters of a text.
size_t bytes_of(const std::string &text, size_t characters) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (begins_character(text[i]) && characters-- == 0) return i;
  }
  return text.size();
}

void write_all(const std::string &bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t n = write(STDERR_FILENO, bytes.data() + done, bytes.size() - done);
    if (n <= 0) return;  // only a line of progress is lost
    done += static_cast<size_t>(n);
  }
}

}  // namespace

int columns_of(int descriptor) {
  constexpr int usual = 80;
  winsize size{};
  if (isatty(descriptor) != 1) return 0;
  const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : usual;
}

bool colours_wanted() {
  const char *no_colour = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  return (no_colour == nullptr || *no_colour == '\0') &&
         (terminal == nullptr || std::string(terminal) != "dumb");
}

size_t width_of(const std::string &text) {
  return std::count_if(text.begin(), text.end(), begins_character);
}

std::vector<std::string> wrapped(const std::string &text, size_t columns) {
  std::vector<std::string> lines;
  std::string rest = text;
  while (columns > 0 && width_of(rest) > columns) {
    const size_t most = bytes_of(rest, columns);
    const size_t space = rest.rfind(' ', most);
    const bool at_space = space != std::string::npos && space > 0;
    lines.push_back(rest.substr(0, at_space ? space : most));
    rest.erase(0, at_space ? space + 1 : most);
  }
  lines.push_back(rest);
  return lines;
}

StatusLine::StatusLine() : columns_(columns_of(STDERR_FILENO)) {}

void StatusLine::show(const std::string &text) {
  if (!possible()) return;
  columns_ = std::max(columns_of(STDERR_FILENO), 2);
  write_all("\r\033[K" + text.substr(0, bytes_of(text, columns_ - 1)));
  shown_ = true;
}

void StatusLine::wipe() {
  if (shown_) write_all("\r\033[K");
  shown_ = false;
}

}  // namespace kelpcheck
