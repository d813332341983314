// Sessions, the clock, and which server is planted.
#include <cstdio>
#include <cstdlib>
#include <map>

#include "handles.h"
#include "real.h"

using namespace planted;

namespace planted {

namespace {

std::map<ConnectionHandle, size_t> &sessions() {
  static auto *open = new std::map<ConnectionHandle, size_t>;
  return *open;
}

size_t sessions_made = 0;

const Server &choose_server() {
  static const Server unchanged{"unchanged"};
  const char *name = std::getenv("KELP_PLANTED");
  if (name == nullptr || std::string(name) == unchanged.name) return unchanged;
  for (const std::span<const Server> servers : all_servers()) {
    for (const Server &candidate : servers) {
      if (std::string(name) == candidate.name) return candidate;
    }
  }
  std::fprintf(stderr, "planted: there is no server %s\n", name);
  std::abort();
}

}  // namespace

const Server &server() {
  static const Server &chosen = choose_server();
  return chosen;
}

size_t session_number(ConnectionHandle connection) { return sessions()[connection]; }
size_t open_sessions() { return sessions().size(); }

}  // namespace planted

ConnectionHandle kelp2_init(int32_t option, const char *host, int32_t port, int32_t init_param,
                            const char *user, const char *password, const char *buffer_route,
                            int32_t buffer_size) {
  if (server().admit && !server().admit(sessions().size())) return nullptr;
  ConnectionHandle connection =
      real().init(option, host, port, init_param, user, password, buffer_route, buffer_size);
  if (!connection) return nullptr;
  sessions()[connection] = ++sessions_made;
  if (server().opened) server().opened(connection);
  return connection;
}

int32_t kelp2_status(ConnectionHandle connection) {
  int32_t status = real().status(connection);
  if (server().status) server().status(connection, status);
  return status;
}

int32_t kelp2_close(ConnectionHandle connection) {
  sessions().erase(connection);
  int32_t result = real().close(connection);
  if (server().closed) server().closed(result);
  return result;
}

int32_t kelp2_get_system_time(ConnectionHandle connection, int32_t *time) {
  const int32_t result = real().get_system_time(connection, time);
  if (result == 0 && server().system_time) server().system_time(*time);
  return result;
}

int32_t kelp2_encode_time(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute,
                          int32_t second) {
  int32_t time = real().encode_time(year, month, day, hour, minute, second);
  const Fields fields = {year, month, day, hour, minute, second};
  if (server().encoded) server().encoded(fields, time);
  return time;
}

int32_t kelp2_decode_time(int32_t time, int32_t *year, int32_t *month, int32_t *day, int32_t *hour,
                          int32_t *minute, int32_t *second) {
  Fields fields = {};
  const int32_t result = real().decode_time(time, &fields[0], &fields[1], &fields[2], &fields[3],
                                            &fields[4], &fields[5]);
  if (result != 0) return result;
  if (server().decoded) server().decoded(time, fields);
  int32_t *const out[] = {year, month, day, hour, minute, second};
  for (size_t i = 0; i < 6; ++i) {
    if (out[i]) *out[i] = fields[i];
  }
  return result;
}
