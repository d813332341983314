#include "support/relay.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace kelptest {

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  return address;
}

bool send_all(int to, const std::string &bytes) {
  for (size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = send(to, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += count;
  }
  return true;
}

// Appends what has come; false at the end of the stream.
bool receive(int from, std::string &bytes) {
  char buffer[65536];
  const ssize_t count = recv(from, buffer, sizeof buffer, 0);
  if (count > 0) bytes.append(buffer, count);
  return count > 0;
}

// The length of the message that the bytes begin with; 0 if it is not there as a whole.
size_t message_length(const std::string &bytes) {
  if (bytes.size() < 5) return 0;
  size_t length = 1;
  for (int i = 1; i < 5; ++i) length += static_cast<unsigned char>(bytes[i]) << (8 * (4 - i));
  return bytes.size() < length ? 0 : length;
}

const std::string kNotice("N\0\0\0\x0bSINFO\0\0", 12);

}  // namespace

Relay::Relay(int server_port)
    : server_port_(server_port), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  auto *general = reinterpret_cast<sockaddr *>(&address);
  if (bind(listener_, general, size) != 0 || listen(listener_, 16) != 0 ||
      getsockname(listener_, general, &size) != 0) {
    throw std::runtime_error("no port for a relay");
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { accept_all(); });
}

Relay::~Relay() {
  ends_ = true;
  acceptor_.join();
  while (open_ > 0) usleep(1000);
  close(listener_);
}

void Relay::tamper(Change change) {
  const std::lock_guard lock(mutex_);
  change_ = std::move(change);
}

void Relay::accept_all() {
  while (!ends_) {
    pollfd request{listener_, POLLIN, 0};
    if (poll(&request, 1, 50) != 1) continue;
    ++open_;
    std::thread([this, client = accept(listener_, nullptr, nullptr)] {
      serve(client);
      close(client);
      --open_;
    }).detach();
  }
}

void Relay::serve(int client) {
  const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(server_port_);
  bool both = connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
  std::string received;
  while (both && !ends_) {
    pollfd requests[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
    poll(requests, 2, 50);
    std::string sent;
    if (requests[0].revents != 0) both = receive(client, sent) && send_all(server, sent);
    if (both && requests[1].revents != 0) {
      both = receive(server, received) && pass_on(received, client);
    }
  }
  close(server);
}

bool Relay::pass_on(std::string &received, int client) {
  while (const size_t length = message_length(received)) {
    const std::string message = received.substr(0, length);
    received.erase(0, length);
    std::unique_lock lock(mutex_);
    const auto changed = change_ ? change_(message) : message;
    lock.unlock();
    while (!changed && !ends_) {
      if (!send_all(client, kNotice)) return false;
    }
    if (changed && !send_all(client, *changed)) return false;
  }
  return true;
}

}  // namespace kelptest
