// Opening a connection to the first of several servers that accepts it, without ever waiting for
// longer than was asked. Host names are looked up here and not by libpq, which tries the addresses
// of a name one after the other and gives all its time to the first one that hangs.
#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <memory>
#include <string>

#include "store/process.h"
#include "store/store.h"

namespace kelp::postgres {

using Clock = std::chrono::steady_clock;

struct Connection {
  std::unique_ptr<PGconn, OwnersRelease<PQfinish>> handle;
  std::string server;  // names the server in failures
};

// A connection that takes writes, to the first address of the first host that gives one. Each
// address has its share of the time that is left.
Connection connect(const StoreAddress &address, Clock::time_point deadline);

// Waits for the events on a socket; false at the deadline.
bool wait_for_socket(int socket, short events, Clock::time_point deadline);

// A message of libpq without what follows its first line.
std::string first_line(const char *text);

}  // namespace kelp::postgres
