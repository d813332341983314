#include "result/text.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace kelpcheck {

namespace {

template <typename... Arguments>
std::string formatted(const char *format, Arguments... arguments) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, arguments...);
  return buffer;
}

// How many bytes a UTF-8 character has that begins with this one, 0 if none does.
size_t length_by(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC2) return 0;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  return lead < 0xF5 ? 4 : 0;
}

// The length of the UTF-8 character at the start of these bytes, 0 if there is none.
size_t character_length(std::string_view bytes) {
  const auto lead = static_cast<unsigned char>(bytes[0]);
  const size_t length = length_by(lead);
  if (length == 0 || bytes.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(bytes[i]) & 0xC0) != 0x80) return 0;
  }
  const auto second = length > 1 ? static_cast<unsigned char>(bytes[1]) : 0x80;
  const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool outside = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
  const bool no_character = bytes.starts_with("\xEF\xBF\xBE") || bytes.starts_with("\xEF\xBF\xBF");
  return overlong || outside || no_character ? 0 : length;
}

}  // namespace

void append(std::string &to, double part) { to += formatted("%g", part); }

void append_item(std::string &list, std::string_view item, std::string_view separator) {
  if (!list.empty()) list += separator;
  list += item;
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

std::string numbered(const std::string &prefix, size_t digits, int64_t number) {
  const std::string plain = std::to_string(number);
  return prefix + std::string(digits - std::min(digits, plain.size()), '0') + plain;
}

std::string show(double value) {
  const std::string shortest = formatted("%.15g", value);
  return std::strtod(shortest.c_str(), nullptr) == value ? shortest : formatted("%.17g", value);
}

std::string show(int64_t value) { return std::to_string(value); }

std::string show(const std::string &value) {
  constexpr size_t most = 120;
  if (value.size() <= most) return '"' + value + '"';
  return '"' + value.substr(0, most) + "\"... (" + std::to_string(value.size()) + " bytes)";
}

std::string clock_text(int64_t time) {
  using namespace std::chrono;
  const sys_seconds moment{seconds(time)};
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss clock(moment - day);
  return formatted("%04d-%02u-%02u %02d:%02d:%02d", int(date.year()), unsigned(date.month()),
                   unsigned(date.day()), int(clock.hours().count()), int(clock.minutes().count()),
                   int(clock.seconds().count()));
}

std::string duration_text(double nanoseconds) {
  const char *const units[] = {"ns", "us", "ms", "s"};
  int unit = 0;
  for (; unit < 3 && nanoseconds >= 999.5; ++unit) nanoseconds /= 1000;
  return formatted(unit == 0 || nanoseconds >= 99.5 ? "%.0f %s" : "%.3g %s", nanoseconds,
                   units[unit]);
}

std::string with_thousands(int64_t count) {
  const std::string digits = std::to_string(count);
  std::string result;
  for (size_t i = 0; i < digits.size(); ++i) {
    const bool group = i > 0 && (digits.size() - i) % 3 == 0 && digits[i - 1] != '-';
    if (group) result += ',';
    result += digits[i];
  }
  return result;
}

std::string rate_text(double rate) {
  if (rate >= 999'500) return formatted("%.3gM", rate / 1e6);
  if (rate >= 999.5) return formatted("%.3gk", rate / 1e3);
  return formatted("%.3g", rate);
}

std::string printable(std::string_view bytes, bool keep_lines) {
  std::string result;
  while (!bytes.empty()) {
    const auto byte = static_cast<unsigned char>(bytes[0]);
    const size_t length = character_length(bytes);
    if (keep_lines && byte == '\n') {
      result += '\n';
    } else if (byte < 0x20 || byte == 0x7F) {
      result += "\xE2\x90";
      result += static_cast<char>(byte == 0x7F ? 0xA1 : 0x80 + byte);
    } else if (length == 0 || (byte == 0xC2 && static_cast<unsigned char>(bytes[1]) < 0xA0)) {
      result += "\xEF\xBF\xBD";  // not UTF-8, or a control character of the upper range
    } else {
      result += bytes.substr(0, length);
    }
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

}  // namespace kelpcheck
