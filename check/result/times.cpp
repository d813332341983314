#include "result/times.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace kelpcheck {

namespace {

constexpr double kCentury = 100 * 366 * 86400.0;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Takes so many digits from the front; false, and nothing taken, if they are not there.
bool take_number(std::string_view &text, size_t digits, int &number) {
  if (text.size() < digits) return false;
  number = 0;
  for (size_t i = 0; i < digits; ++i) {
    if (!is_digit(text[i])) return false;
    number = number * 10 + (text[i] - '0');
  }
  text.remove_prefix(digits);
  return true;
}

bool take(std::string_view &text, std::string_view any_of) {
  if (text.empty() || any_of.find(text[0]) == any_of.npos) return false;
  text.remove_prefix(1);
  return true;
}

struct Calendar {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  int behind_utc = 0;  // seconds to add
};

bool take_plain(std::string_view text, Calendar &date) {
  return take_number(text, 4, date.year) && take_number(text, 2, date.month) &&
         take_number(text, 2, date.day) && take_number(text, 2, date.hour) &&
         take_number(text, 2, date.minute) && take_number(text, 2, date.second) && text.empty();
}

// Z, +hh:mm, +hhmm or nothing.
bool take_zone(std::string_view &text, Calendar &date) {
  if (text.empty() || take(text, "Zz")) return true;
  const int sign = text[0] == '-' ? 1 : -1;
  int hours = 0, minutes = 0;
  if (!take(text, "+-") || !take_number(text, 2, hours)) return false;
  take(text, ":");
  if (!take_number(text, 2, minutes) || hours > 23 || minutes > 59) return false;
  date.behind_utc = sign * (hours * 3600 + minutes * 60);
  return true;
}

bool take_iso(std::string_view text, Calendar &date) {
  if (!take_number(text, 4, date.year) || !take(text, "-")) return false;
  if (!take_number(text, 2, date.month) || !take(text, "-")) return false;
  if (!take_number(text, 2, date.day)) return false;
  if (text.empty()) return true;
  if (!take(text, "T t") || !take_number(text, 2, date.hour) || !take(text, ":")) return false;
  if (!take_number(text, 2, date.minute)) return false;
  if (take(text, ":") && !take_number(text, 2, date.second)) return false;
  if (take(text, ".,")) {
    int digit = 0;
    while (take_number(text, 1, digit)) {
    }
  }
  return take_zone(text, date) && text.empty();
}

}  // namespace

double parse_duration(const std::string &text) {
  static constexpr struct {
    std::string_view name;
    double seconds;
  } units[] = {{"", 1}, {"ms", 0.001}, {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}};
  double number = 0;
  const char *const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  const std::string_view unit(rest, static_cast<size_t>(end - rest));
  for (const auto &[name, seconds] : units) {
    if (error != std::errc() || unit != name) continue;
    const double duration = number * seconds;
    if (duration >= 0 && duration <= kCentury) return duration;
  }
  throw std::invalid_argument("\"" + text + "\" is not a duration such as 90, 1.5h or 300ms");
}

int64_t parse_date(const std::string &text) {
  using namespace std::chrono;
  Calendar date;
  const bool known = take_plain(text, date) || take_iso(text, date = {});
  const year_month_day day{year(date.year), month(static_cast<unsigned>(date.month)),
                           std::chrono::day(static_cast<unsigned>(date.day))};
  const bool good = known && day.ok() && date.hour < 24 && date.minute < 60 && date.second < 60;
  if (!good) {
    throw std::invalid_argument("\"" + text +
                                "\" is not a date such as 20261123170205 or 2026-11-23T17:02:05Z");
  }
  const int64_t time = int64_t{sys_days(day).time_since_epoch().count()} * 86400 +
                       date.hour * 3600 + date.minute * 60 + date.second + date.behind_utc;
  if (time != static_cast<int32_t>(time)) {
    throw std::invalid_argument("\"" + text + "\" is not between 1901 and 2038");
  }
  return time;
}

std::string iso_text(double moment) {
  using namespace std::chrono;
  const auto milliseconds = static_cast<int64_t>(std::llround(moment * 1000));
  const sys_time<std::chrono::milliseconds> time{std::chrono::milliseconds(milliseconds)};
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02d", int(date.year()),
                unsigned(date.month()), unsigned(date.day()), int(clock.hours().count()),
                int(clock.minutes().count()), int(clock.seconds().count()));
  const auto fraction = static_cast<int>(clock.subseconds().count());
  std::string text = buffer;
  if (fraction != 0) {
    std::snprintf(buffer, sizeof buffer, ".%03d", fraction);
    text += buffer;
  }
  return text + "Z";
}

}  // namespace kelpcheck
