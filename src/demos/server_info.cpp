// What the server says about itself before any test data exists: its clock, its databases, and the
// library's conversion between calendar fields and times.
#include <algorithm>
#include <array>

#include "demos/demos.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

struct CalendarTime {
  int32_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  bool operator==(const CalendarTime &) const = default;
};

CalendarTime decode(int32_t time) {
  CalendarTime t;
  kelp2_decode_time(time, &t.year, &t.month, &t.day, &t.hour, &t.minute, &t.second);
  return t;
}

}  // namespace

void get_system_time_demo(bool display) {
  int32_t time = 0;
  const int32_t result = kelp2_get_system_time(argument_.handle, &time);
  if (result != 0) fail(display, "kelp2_get_system_time error! ret = %d", result);

  const CalendarTime t = decode(time);
  show_line(display, "%d-%d-%d %d:%d:%d", t.year, t.month, t.day, t.hour, t.minute, t.second);
  display_result(true, "kelp2_get_system_time success!");
}

void get_database_demo(bool display) {
  constexpr int32_t most_shown = 10;
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  const int32_t result = kelp2_get_database(argument_.handle, &count, &list);
  if (result != 0) show_line(display, "kelp2_get_database error! ret = %d", result);
  if (result != 0 || count <= 0) fail(display, "no database !");

  // Not cleared between databases: after a failed read it shows what it held.
  std::array<char, 64> name{};
  for (int32_t i = 0; i < std::min(count, most_shown); ++i) {
    const int32_t read =
        kelp2_object_get_string(list[i], KELP2_FIELD_NAME, name.data(), name.size());
    if (read != 0) show_line(display, "kelp2_object_get_string error! ret = %d", read);
    display_result(display, name.data());
  }
  kelp2_free_list(count, list);
  display_result(true, "get_database_demo success!");
}

void decode_encode_time_demo(bool display) {
  const CalendarTime date{2013, 2, 6, 1, 0, 0};
  const int32_t time =
      kelp2_encode_time(date.year, date.month, date.day, date.hour, date.minute, date.second);
  display_result(display, decode(time) == date ? "decode_encode_time_demo success!"
                                               : "kelp2_encode_time or kelp2_decode_time error!");
}
