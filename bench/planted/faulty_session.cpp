// Faulty servers: sessions, the server's clock and the calendar.
#include <algorithm>
#include <limits>

#include "servers.h"

namespace planted {

namespace {

enum { kYear, kMonth, kDayOfMonth, kHour, kMinute, kSecond };

bool is_date(const Fields &fields, int32_t month, int32_t day) {
  return fields[kMonth] == month && fields[kDayOfMonth] == day;
}

void leap_day_is_march(int32_t, Fields &fields) {
  if (!is_date(fields, 2, 29)) return;
  fields[kMonth] = 3;
  fields[kDayOfMonth] = 1;
}

void hour_24_at_month_begin(int32_t, Fields &fields) {
  if (fields[kDayOfMonth] == 1 && fields[kHour] == 0) fields[kHour] = 24;
}

void rounded_towards_0(int32_t time, Fields &fields) {
  if (time < 0 && fields[kSecond] != 0) --fields[kSecond];
}

void summer_after_2030(int32_t time, Fields &fields) {
  const bool summer = fields[kMonth] > 3 && fields[kMonth] < 10;
  if (time > kYear2030 && summer) fields[kHour] = (fields[kHour] + 1) % 24;
}

void year_2000_is_common(const Fields &fields, int32_t &time) {
  if (fields[kYear] == 2000 && fields[kMonth] > 2) time -= kDay;
}

void leap_second_of_1972(const Fields &fields, int32_t &time) {
  if (fields[kYear] == 1972 && fields[kMonth] > 6) ++time;
}

void last_second_of_year(const Fields &fields, int32_t &time) {
  const bool late = fields[kHour] == 23 && fields[kMinute] == 59 && fields[kSecond] == 59;
  if (is_date(fields, 12, 31) && late) --time;
}

void frozen(int32_t &time) {
  static const int32_t first = time;
  time = first;
}

void fails_for_second(ConnectionHandle connection, int32_t &status) {
  if (connection && session_number(connection) > 1) status = -2;
}

// The first session fails while there is another one.
bool displaced(ConnectionHandle connection) {
  return open_sessions() > 1 && session_number(connection) == 1;
}

bool any_closed = false;

const Server kFaultySession[] = {
    {.name = "leap_day_decoded_as_march", .decoded = leap_day_is_march},
    {.name = "month_begins_at_hour_24", .decoded = hour_24_at_month_begin},
    {.name = "decoded_towards_0", .decoded = rounded_towards_0},
    {.name = "summer_time_after_2030", .decoded = summer_after_2030},
    {.name = "time_0_not_decoded",
     .decoded =
         [](int32_t time, Fields &fields) {
           if (time == 0) std::fill_n(fields, 6, 0);
         }},
    {.name = "first_second_not_decoded",
     .decoded =
         [](int32_t time, Fields &fields) {
           if (time == std::numeric_limits<int32_t>::min()) fields[kYear] = 2038;
         }},
    {.name = "year_2000_is_common", .encoded = year_2000_is_common},
    {.name = "leap_second_of_1972", .encoded = leap_second_of_1972},
    {.name = "last_second_of_year_early", .encoded = last_second_of_year},
    {.name = "years_before_1970_are_0",
     .encoded = [](const Fields &, int32_t &time) { time = std::max(time, 0); }},
    {.name = "server_clock_frozen", .system_time = frozen},
    {.name = "server_clock_runs_backwards",
     .system_time = [](int32_t &time) { time = 2000000000 - (time - 1700000000); }},
    {.name = "server_clock_is_0", .system_time = [](int32_t &time) { time = 0; }},
    {.name = "null_session_works",
     .status =
         [](ConnectionHandle connection, int32_t &status) {
           if (!connection) status = 0;
         }},
    {.name = "second_session_reports_lost", .status = fails_for_second},
    {.name = "older_session_displaced",
     .write =
         [](Write &write) {
           if (displaced(write.connection)) write.result = -2;
         },
     .read =
         [](Read &read) {
           if (displaced(read.connection)) read.result = -2;
         }},
    {.name = "closing_one_closes_all",
     .read =
         [](Read &read) {
           if (any_closed) read.result = -2;
         },
     .closed = [](int32_t &) { any_closed = open_sessions() > 0; }},
    {.name = "close_fails", .closed = [](int32_t &result) { result = -99; }},
};

}  // namespace

std::span<const Server> faulty_session() { return kFaultySession; }

}  // namespace planted
