// A reconnection never closes the handle that it replaces: on a broken connection that could block.
// It also leaves the buffer to the first connection.
#include "driver/connection.h"

#include <unistd.h>

#include "driver/argument.h"
#include "driver/output.h"

namespace {

bool open_connection(const char *buffer_route, int32_t buffer_size) {
  constexpr int32_t init_param = 30;
  argument_.handle =
      kelp2_init(argument_.option, argument_.host.c_str(), argument_.port, init_param,
                 argument_.user.c_str(), argument_.password.c_str(), buffer_route, buffer_size);
  return argument_.handle != nullptr;
}

}  // namespace

void connect_demo(bool display) {
  if (!open_connection(argument_.buf_route.c_str(), argument_.buf_size)) {
    fail(display, "connect error!");
  }
  display_result(display, "connect success!");
}

void connect_until_success(bool display) {
  constexpr unsigned pause_seconds = 5;
  while (kelp2_status(argument_.handle) != 0) {
    if (open_connection("NULL", 0)) {
      display_result(display, "connect success!");
      return;
    }
    display_result(display, "connect error!");
    display_result(display, "After 5 seconds, I will try connect again!");
    sleep(pause_seconds);
  }
}

void close_kelp(bool /*display*/) { kelp2_close(argument_.handle); }
