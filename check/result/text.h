// Small helpers for texts: joining, showing values exactly, and making foreign bytes harmless.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelpcheck {

inline void append(std::string &to, std::string_view part) { to += part; }
inline void append(std::string &to, char part) { to += part; }
void append(std::string &to, double part);  // six digits
template <std::integral Number>
void append(std::string &to, Number part) {
  to += std::to_string(part);
}

// The parts in a row.
template <typename... Parts>
std::string text(const Parts &...parts) {
  std::string joined;
  (append(joined, parts), ...);
  return joined;
}

// Appends to a list in words: "a, b".
void append_item(std::string &list, std::string_view item, std::string_view separator = ", ");

std::vector<std::string> lines_of(const std::string &text);

// "P00017": a prefix, and a number with so many digits at least.
std::string numbered(const std::string &prefix, size_t digits, int64_t number);

// A value as evidence shows it: numbers with all their digits, texts in quotes.
std::string show(double value);
std::string show(int64_t value);
std::string show(const std::string &value);
inline std::string show(int32_t value) { return show(int64_t{value}); }
inline std::string show(int16_t value) { return show(int64_t{value}); }
inline std::string show(bool value) { return value ? "yes" : "no"; }

// A time as YYYY-MM-DD hh:mm:ss UTC, calculated here.
std::string clock_text(int64_t time);
// Seconds, or nanoseconds, as people read them: "1.25 s", "830 us".
std::string duration_text(double nanoseconds);
// "1,234,567"
std::string with_thousands(int64_t count);
// Three digits are enough of a rate: "1.18M", "35.2k".
std::string rate_text(double rate);

// The text as valid UTF-8 without control characters: those become their pictures (U+2400 ...),
// wrong bytes U+FFFD. Line ends stay if asked for.
std::string printable(std::string_view bytes, bool keep_lines = false);

}  // namespace kelpcheck
