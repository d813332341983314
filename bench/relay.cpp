// Shows what the latency of a network costs: a relay on the loopback between clients and a server,
// which passes on every piece, in both directions, so many milliseconds after it came. Each
// direction has a thread that receives and one that sends, so that neither holds up the other.
//
//   relay PORT SERVER_PORT MILLISECONDS
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kPieceSize = 65536;
constexpr size_t kMostPieces = 256;  // on their way at once

struct Socket {
  explicit Socket(int number) : fd(number) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  Socket(const Socket &) = delete;
  Socket &operator=(const Socket &) = delete;
  ~Socket() { close(fd); }
  const int fd;
};

// One direction of a connection. An empty piece is the end of it.
class Flow {
 public:
  Flow(std::shared_ptr<Socket> from, std::shared_ptr<Socket> to)
      : from_(std::move(from)), to_(std::move(to)) {}

  void take(Clock::duration delay) {
    for (bool ended = false; !ended;) {
      std::string bytes(kPieceSize, '\0');
      const ssize_t count = recv(from_->fd, bytes.data(), bytes.size(), 0);
      bytes.resize(count > 0 ? count : 0);
      ended = bytes.empty();
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return pieces_.size() < kMostPieces; });
      pieces_.push_back({Clock::now() + delay, std::move(bytes)});
      changed_.notify_all();
    }
  }

  void hand_on() {
    for (bool ended = false; !ended;) {
      const Piece piece = next();
      std::this_thread::sleep_until(piece.due);
      ended = piece.bytes.empty();
      if (!send_all(piece.bytes)) shutdown(from_->fd, SHUT_RD);  // which ends the taking
    }
    shutdown(to_->fd, SHUT_WR);
  }

 private:
  struct Piece {
    Clock::time_point due;
    std::string bytes;
  };
  Piece next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !pieces_.empty(); });
    Piece piece = std::move(pieces_.front());
    pieces_.pop_front();
    changed_.notify_all();
    return piece;
  }
  bool send_all(const std::string &bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
      const ssize_t count = send(to_->fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (count < 0) return false;
      sent += count;
    }
    return true;
  }

  std::shared_ptr<Socket> from_, to_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Piece> pieces_;
};

void start(const std::shared_ptr<Socket> &from, const std::shared_ptr<Socket> &to,
           Clock::duration delay) {
  const auto flow = std::make_shared<Flow>(from, to);
  std::thread([flow, delay] { flow->take(delay); }).detach();
  std::thread([flow] { flow->hand_on(); }).detach();
}

sockaddr_in loopback(const char *port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(std::atoi(port)));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int fail(const char *what) {
  std::perror(what);
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 4) return fail("usage: relay PORT SERVER_PORT MILLISECONDS");
  const sockaddr_in own = loopback(argv[1]), server = loopback(argv[2]);
  const auto *own_address = reinterpret_cast<const sockaddr *>(&own);
  const auto *server_address = reinterpret_cast<const sockaddr *>(&server);
  const std::chrono::milliseconds delay(std::atoi(argv[3]));
  const int listener = socket(AF_INET, SOCK_STREAM, 0), on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(listener, own_address, sizeof own) != 0) return fail("relay: bind");
  if (listen(listener, 16) != 0) return fail("relay: listen");
  for (;;) {
    const auto client = std::make_shared<Socket>(accept(listener, nullptr, nullptr));
    if (client->fd < 0) return fail("relay: accept");
    const auto target = std::make_shared<Socket>(socket(AF_INET, SOCK_STREAM, 0));
    if (connect(target->fd, server_address, sizeof server) != 0) continue;
    start(client, target, delay);
    start(target, client, delay);
  }
}
