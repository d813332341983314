// A relay between a client and a server on the loopback that can tamper with what the server says.
// It understands as much of PostgreSQL's protocol as that takes: from the start on, everything that
// the server sends is a message of a type, a length and a body (without SSL, that is).
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace kelptest {

class Relay {
 public:
  // What goes to the client in place of a message of the server; nothing stands for notices
  // without end.
  using Change = std::function<std::optional<std::string>(const std::string &message)>;

  explicit Relay(int server_port);
  ~Relay();
  Relay(const Relay &) = delete;
  Relay &operator=(const Relay &) = delete;

  int port() const { return port_; }
  void tamper(Change change);
  void be_honest() { tamper(nullptr); }

 private:
  void accept_all();
  void serve(int client);
  // Passes on what came from the server; false if the client is gone.
  bool pass_on(std::string &received, int client);

  int server_port_, port_ = 0, listener_;
  std::mutex mutex_;
  Change change_;
  std::atomic<bool> ends_ = false;
  std::atomic<int> open_ = 0;
  std::thread acceptor_;
};

}  // namespace kelptest
