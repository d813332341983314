// Sessions, the server's clock and time conversion.
#include <algorithm>

#include "api/handles.h"
#include "api/open_store.h"
#include "store/calendar.h"

using namespace kelp;

namespace {

constexpr int32_t kLazyCommits = 8;  // bit of the option word

std::string text_of(const char *text) { return text ? text : ""; }

}  // namespace

ConnectionHandle kelp2_init(int32_t option, const char *host, int32_t port, int32_t init_param,
                            const char *user, const char *password, const char * /*buffer_route*/,
                            int32_t /*buffer_size*/) {
  ConnectionHandle connection = nullptr;
  guarded([&] {
    auto store = open_store({text_of(host), port, text_of(user), text_of(password),
                             std::max(init_param, 0), (option & kLazyCommits) != 0});
    connection = new kelp2_connection{std::move(store)};
    return kOk;
  });
  return connection;
}

int32_t kelp2_status(ConnectionHandle connection) {
  return guarded([&] {
    store_of(connection).check();
    return kOk;
  });
}

int32_t kelp2_close(ConnectionHandle connection) {
  return guarded([&] {
    delete connection;
    return kOk;
  });
}

int32_t kelp2_get_system_time(ConnectionHandle connection, int32_t *time) {
  return guarded([&] {
    require(time != nullptr);
    *time = store_of(connection).now();
    return kOk;
  });
}

int32_t kelp2_encode_time(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute,
                          int32_t second) {
  return encode_time({year, month, day, hour, minute, second});
}

int32_t kelp2_decode_time(int32_t time, int32_t *year, int32_t *month, int32_t *day, int32_t *hour,
                          int32_t *minute, int32_t *second) {
  return guarded([&] {
    require(year && month && day && hour && minute && second);
    const CalendarTime fields = decode_time(time);
    *year = fields.year;
    *month = fields.month;
    *day = fields.day;
    *hour = fields.hour;
    *minute = fields.minute;
    *second = fields.second;
    return kOk;
  });
}
