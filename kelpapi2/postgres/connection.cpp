#include "postgres/connection.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

namespace kelp::postgres {

namespace {

std::vector<std::string> split_hosts(const std::string &hosts) {
  std::vector<std::string> result;
  for (size_t start = 0;;) {
    const size_t comma = hosts.find(',', start);
    result.push_back(hosts.substr(start, comma - start));
    if (comma == std::string::npos) return result;
    start = comma + 1;
  }
}

// Whether there is nothing to look up: a socket's folder, or what libpq's own settings decide.
bool is_left_to_libpq(const std::string &host) {
  return host.empty() || host[0] == '/' || host[0] == '@' || std::getenv("PGHOSTADDR") != nullptr;
}

// The addresses of a host in text form; an empty one leaves the address to libpq.
std::vector<std::string> addresses_of(const std::string &host, const std::string &server) {
  if (is_left_to_libpq(host)) return {""};
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo *found = nullptr;
  const int error = getaddrinfo(host.c_str(), nullptr, &hints, &found);
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, freeaddrinfo);
  if (error != 0) throw Failure(kNoConnection, server + ": " + gai_strerror(error));
  std::vector<std::string> addresses;
  for (const addrinfo *entry = found; entry != nullptr; entry = entry->ai_next) {
    char text[NI_MAXHOST];
    if (getnameinfo(entry->ai_addr, entry->ai_addrlen, text, sizeof text, nullptr, 0,
                    NI_NUMERICHOST) == 0) {
      addresses.emplace_back(text);
    }
  }
  return addresses;
}

void await_connection(PGconn *connection, const std::string &server, Clock::time_point deadline) {
  auto state =
      PQstatus(connection) == CONNECTION_BAD ? PGRES_POLLING_FAILED : PGRES_POLLING_WRITING;
  while (state != PGRES_POLLING_OK && state != PGRES_POLLING_FAILED) {
    const short events = state == PGRES_POLLING_READING ? POLLIN : POLLOUT;
    if (!wait_for_socket(PQsocket(connection), events, deadline)) {
      throw Failure(kNoConnection, server + ": no answer while connecting");
    }
    state = PQconnectPoll(connection);
  }
  if (state == PGRES_POLLING_FAILED) {
    throw Failure(kNoConnection, first_line(PQerrorMessage(connection)));
  }
}

Connection connect_to(const StoreAddress &address, const std::string &host,
                      const std::string &host_address, const std::string &server,
                      Clock::time_point deadline) {
  const std::string port = std::to_string(address.port);
  // libpq takes an empty text for a setting that was not given. With an address, the host is still
  // the name that certificates and password files are searched for.
  const std::pair<const char *, const char *> settings[] = {{"host", host.c_str()},
                                                            {"hostaddr", host_address.c_str()},
                                                            {"port", port.c_str()},
                                                            {"user", address.user.c_str()},
                                                            {"password", address.password.c_str()},
                                                            {"application_name", "kelptest"},
                                                            {"client_encoding", "UTF8"},
                                                            {"target_session_attrs", "read-write"},
                                                            {nullptr, nullptr}};
  std::vector<const char *> keywords, values;
  for (const auto &[keyword, value] : settings) {
    keywords.push_back(keyword);
    values.push_back(value);
  }
  Connection connection{{}, server};
  connection.handle.reset(PQconnectStartParams(keywords.data(), values.data(), 0));
  if (!connection.handle) throw Failure(kOutOfMemory, "out of memory");
  PQsetNoticeReceiver(
      connection.handle.get(), [](void *, const PGresult *) {}, nullptr);
  await_connection(connection.handle.get(), server, deadline);
  return connection;
}

// The share of the time until the deadline that the next of so many attempts has.
Clock::time_point share_of(Clock::time_point deadline, size_t attempts) {
  const auto now = Clock::now();
  return now + (deadline - now) / static_cast<int64_t>(attempts);
}

}  // namespace

std::string first_line(const char *text) {
  const std::string line = text ? text : "";
  return line.substr(0, line.find('\n'));
}

bool wait_for_socket(int socket, short events, Clock::time_point deadline) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() < 0) return false;
    pollfd request{socket, events, 0};
    const int ready = poll(&request, 1, static_cast<int>(std::min<int64_t>(left.count(), 60'000)));
    if (ready > 0) return true;
    if (ready == 0 && Clock::now() >= deadline) return false;
    // The next call on the socket will say what is wrong.
    if (ready < 0 && errno != EINTR) return true;
  }
}

Connection connect(const StoreAddress &address, Clock::time_point deadline) {
  std::string causes;
  ResultCode code = kNoConnection;
  const auto attempt = [&](auto &&work) -> Connection {
    try {
      return work();
    } catch (const Failure &failure) {
      causes += (causes.empty() ? "" : "; ") + std::string(failure.what());
      code = failure.code();
      return {};
    }
  };
  const std::vector<std::string> hosts = split_hosts(address.host);
  for (size_t i = 0; i < hosts.size(); ++i) {
    const std::string server = "server " + hosts[i] + ":" + std::to_string(address.port);
    const auto host_deadline = share_of(deadline, hosts.size() - i);
    std::vector<std::string> addresses;
    attempt([&]() -> Connection {
      addresses = addresses_of(hosts[i], server);
      return {};
    });
    for (size_t j = 0; j < addresses.size(); ++j) {
      Connection connection = attempt([&] {
        return connect_to(address, hosts[i], addresses[j], server,
                          share_of(host_deadline, addresses.size() - j));
      });
      if (connection.handle) return connection;
    }
  }
  throw Failure(code, causes);
}

}  // namespace kelp::postgres
