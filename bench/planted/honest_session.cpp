// Honest servers: what the header leaves open about sessions and the clock.
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "servers.h"

namespace planted {

namespace {

constexpr int32_t kEightHours = 8 * 3600;

int32_t shifted(int32_t time, int32_t seconds) {
  const int64_t moved = int64_t(time) + seconds;
  return static_cast<int32_t>(std::clamp<int64_t>(moved, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

// Calendar fields of a place eight hours ahead.
void encode_local(const Fields &, int32_t &time) { time = shifted(time, -kEightHours); }

void decode_local(int32_t time, Fields &fields) {
  const Date date = date_of(shifted(time, kEightHours));
  const Fields local = {date.year, date.month, date.day, date.hour, date.minute, date.second};
  std::copy(std::begin(local), std::end(local), fields);
}

bool is_calendar(const Fields &fields) {
  constexpr Fields low = {1, 1, 1, 0, 0, 0};
  constexpr Fields high = {9999, 12, 31, 23, 59, 59};
  for (int i = 0; i < 6; ++i) {
    if (fields[i] < low[i] || fields[i] > high[i]) return false;
  }
  return true;
}

const Server kHonestSession[] = {
    {.name = "clock_an_hour_ahead", .system_time = [](int32_t &time) { time += 3600; }},
    {.name = "clock_a_minute_behind", .system_time = [](int32_t &time) { time -= 60; }},
    {.name = "calendar_of_another_zone", .encoded = encode_local, .decoded = decode_local},
    {.name = "odd_fields_give_0",
     .encoded =
         [](const Fields &fields, int32_t &time) {
           if (!is_calendar(fields)) time = 0;
         }},
    {.name = "eight_sessions", .admit = [](size_t sessions) { return sessions < 8; }},
    {.name = "one_session", .admit = [](size_t sessions) { return sessions < 1; }},
    {.name = "slow_login", .opened = [](ConnectionHandle) { usleep(200000); }},
};

}  // namespace

std::span<const Server> honest_session() { return kHonestSession; }

}  // namespace planted
