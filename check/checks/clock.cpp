// The server's clock, and the library's calendar against one calculated here. Whether the library
// counts in UTC, in this host's local time or with a fixed offset is up to it; but it has to be the
// same for every date.
#include <chrono>
#include <ctime>
#include <functional>
#include <thread>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

using namespace std::chrono;

struct Date {
  int32_t fields[6];  // year to second
  bool operator==(const Date &other) const = default;
};

std::string show_date(const Date &m) {
  char buffer[80];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", m.fields[0], m.fields[1],
                m.fields[2], m.fields[3], m.fields[4], m.fields[5]);
  return buffer;
}

int64_t utc_time(const Date &m) {
  const sys_days day = year(m.fields[0]) / m.fields[1] / m.fields[2];
  return int64_t{day.time_since_epoch().count()} * 86400 + m.fields[3] * 3600 + m.fields[4] * 60 +
         m.fields[5];
}

Date utc_moment(int64_t time) {
  const sys_seconds moment{seconds(time)};
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const auto of_day = static_cast<int32_t>((moment - day).count());
  return {{int(date.year()), int32_t(unsigned(date.month())), int32_t(unsigned(date.day())),
           of_day / 3600, of_day / 60 % 60, of_day % 60}};
}

int32_t encode(Bed &bed, const Date &m) {
  const int32_t *f = m.fields;
  return bed.c.calls.call<kelp2_encode_time>(1, f[0], f[1], f[2], f[3], f[4], f[5]);
}

Date decode(Bed &bed, int32_t time) {
  Date m{{-1, -1, -1, -1, -1, -1}};
  int32_t *f = m.fields;
  bed.c.calls.checked<kelp2_decode_time>(1, time, f, f + 1, f + 2, f + 3, f + 4, f + 5);
  return m;
}

// How far the library's times lie ahead of UTC's: nothing, what the host's zone says, or a
// constant.
struct Zone {
  std::string name;
  std::function<int64_t(int64_t)> offset;  // of a time in UTC; local = UTC + offset

  int64_t time_of(const Date &m) const {
    const int64_t local = utc_time(m);
    return local - offset(local - offset(local));
  }
  Date moment_of(int64_t time) const { return utc_moment(time + offset(time)); }
  // Not in the hour that a change of the clock repeats or leaves out.
  bool is_plain(int64_t time) const { return offset(time - 7200) == offset(time + 7200); }
};

Zone zone_of_library(Bed &bed) {
  const Date summer{{2013, 7, 1, 12, 0, 0}}, winter{{2013, 1, 1, 12, 0, 0}};
  const int64_t in_summer = utc_time(summer) - encode(bed, summer);
  const int64_t in_winter = utc_time(winter) - encode(bed, winter);
  const auto host = [](int64_t time) {
    const time_t t = time;
    tm local{};
    localtime_r(&t, &local);
    return static_cast<int64_t>(local.tm_gmtoff);
  };
  if (in_summer == 0 && in_winter == 0) return {"UTC", [](int64_t) { return 0; }};
  if (in_summer == host(utc_time(summer)) && in_winter == host(utc_time(winter))) {
    return {"this host's local time", host};
  }
  const bool zone =
      in_summer == in_winter && in_summer % 900 == 0 && std::abs(in_summer) <= 14 * 3600;
  if (!zone) return {"UTC", [](int64_t) { return 0; }};  // which the comparisons will refute
  return {text("a fixed ", in_summer / 60, " minutes ahead of UTC"),
          [=](int64_t) { return in_summer; }};
}

void expect_time(Bed &bed, const Zone &zone, int64_t time) {
  if (time < INT32_MIN || time > INT32_MAX || !zone.is_plain(time)) return;
  // Within a day of the ends, local times of another zone are beyond them.
  constexpr int64_t day = 86'400;
  const bool near_end = time < INT32_MIN + day || time > INT32_MAX - day;
  if (near_end && zone.name != "UTC") return;
  Evidence &e = bed.c.evidence;
  const Date moment = zone.moment_of(time);
  e.equal(time, int64_t{encode(bed, moment)},
          [&] { return "kelp2_encode_time of " + show_date(moment); });
  const Date decoded = decode(bed, static_cast<int32_t>(time));
  e.that(
      moment == decoded, [&] { return text("kelp2_decode_time of ", time); }, show_date(moment),
      show_date(decoded));
}

void now(Bed &bed) {
  const auto before = std::time(nullptr);
  const int32_t server = bed.session->time();
  const auto after = std::time(nullptr);
  int64_t skew = 0;
  if (server < before) skew = server - before;
  if (server > after) skew = server - after;
  bed.c.evidence.that(
      std::abs(skew) <= bed.c.options.max_skew,
      [] { return "the server's clock against this host's"; },
      text("at most ", bed.c.options.max_skew, " s apart"),
      text(std::abs(skew), skew < 0 ? " s behind" : " s ahead"));
  std::string words = "as this host's";
  if (skew > 0) words = text(skew, " s ahead");
  if (skew < 0) words = text(-skew, " s behind");
  bed.c.finding("The server's clock", words);
}

void runs(Bed &bed) {
  constexpr int64_t patience = 2'500'000'000;
  const int64_t start = now_ns();
  const int32_t first = bed.session->time();
  int32_t last = first;
  while (last == first && now_ns() - start < patience) {
    std::this_thread::sleep_for(milliseconds(20));
    last = bed.session->time();
  }
  bed.c.evidence.that(
      last > first && last - first <= 2, [] { return "the server's clock some time later"; },
      "a second or two on", text(last - first, " s"));
}

void dates(Bed &bed) {
  const Zone zone = zone_of_library(bed);
  Answer answer = Answer::local;
  if (zone.name == "UTC") answer = Answer::utc;
  if (zone.name.starts_with("a")) answer = Answer::fixed;
  bed.c.read(Question::calendar, answer, "kelp2_encode_time in summer and winter", zone.name);
  for (const int32_t y : {1902, 1969, 1970, 1972, 1999, 2000, 2001, 2004, 2012, 2013, 2024, 2037}) {
    for (int32_t m = 1; m <= 12; ++m) {
      const auto last = int32_t(unsigned((year(y) / m / std::chrono::last).day()));
      for (const int32_t d : {1, 28, last}) {
        for (const Date &at : {Date{{y, m, d, 0, 0, 0}}, Date{{y, m, d, 23, 59, 59}}}) {
          expect_time(bed, zone, zone.time_of(at));
        }
      }
    }
  }
  for (const int64_t end : {int64_t{INT32_MIN}, int64_t{INT32_MAX}}) {
    for (int64_t i = -1; i <= 1; ++i) expect_time(bed, zone, end + i);
  }
  for (const int64_t time : {int64_t{-1}, int64_t{0}, int64_t{1}}) expect_time(bed, zone, time);
}

// Each day there is, and each minute of one with all seconds in turn.
void every_day(Bed &bed) {
  const Zone zone = zone_of_library(bed);
  for (int64_t day = -24855; day <= 24854; ++day) expect_time(bed, zone, day * 86400 + 43200);
  const int64_t leap_day = utc_time({{2024, 2, 29, 0, 0, 0}});
  for (int64_t minute = 0; minute < 1440; ++minute) {
    expect_time(bed, zone, leap_day + minute * 60 + minute * 7 % 60);
  }
}

}  // namespace

Family clock_family() {
  return {
      "clock",
      Tree::none,
      {{"clock.skew", "The server's clock is not far from this host's.", now},
       {"clock.runs", "The server's clock runs, one second each second.", runs},
       {"clock.dates",
        "Encoding and decoding are inverse and right at leap days, ends of months "
        "and years, and the ends of the scale.",
        dates},
       {"clock.every_day",
        "They are so on every day from 1901 to 2038, and in every minute of a day.", every_day}}};
}

}  // namespace kelpcheck
