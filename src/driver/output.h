// The output hook and the few ways in which demonstrations hand lines to it. Everything that a
// demonstration says goes through display_result, so that one place decides what is seen.
#pragma once

#include <cstdint>

// Receives every line: `flag` says whether it is meant to be seen, `text` has no line end.
extern void (*display_result)(bool flag, const char *text);

// The default hook: writes the text and a line end to standard output, at once, if the flag is set.
void print(bool flag, const char *text);

// Writes `value` in decimal, cut to six characters, into `buffer` (7 bytes) and returns it.
char *itoa(int32_t value, char *buffer);

// False for lines that nobody can see, which are not worth formatting.
inline bool visible(bool display) { return display || display_result != print; }

// Formats a line of at most 126 characters and hands it to the hook.
[[gnu::format(printf, 2, 3)]] void show_line(bool display, const char *format, ...);

// The same for lines of at most 254 characters.
[[gnu::format(printf, 2, 3)]] void show_long_line(bool display, const char *format, ...);

// Shows a line as show_line does and ends the process with status 0. Nothing is released.
[[noreturn, gnu::format(printf, 2, 3)]] void fail(bool display, const char *format, ...);
