// Lines are formatted into zeroed buffers one byte larger than the text that fits, so that a cut
// line is always terminated. Every line is flushed: what a stopped process printed is complete.
#include "driver/output.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "driver/progress.h"

void (*display_result)(bool flag, const char *text) = print;

void print(bool flag, const char *text) {
  if (!flag) return;
  wipe_progress();
  std::fputs(text, stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

char *itoa(int32_t value, char *buffer) {
  std::snprintf(buffer, 7, "%d", value);
  return buffer;
}

namespace {

template <size_t size>
void hand_over(bool display, const char *format, va_list values) {
  std::array<char, size> line{};
  std::vsnprintf(line.data(), size - 1, format, values);
  display_result(display, line.data());
}

}  // namespace

void show_line(bool display, const char *format, ...) {
  if (!visible(display)) return;
  va_list values;
  va_start(values, format);
  hand_over<128>(display, format, values);
  va_end(values);
}

void show_long_line(bool display, const char *format, ...) {
  if (!visible(display)) return;
  va_list values;
  va_start(values, format);
  hand_over<256>(display, format, values);
  va_end(values);
}

void fail(bool display, const char *format, ...) {
  va_list values;
  va_start(values, format);
  hand_over<128>(display, format, values);
  va_end(values);
  wipe_progress();
  std::exit(0);
}
