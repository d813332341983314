// A connection to a PostgreSQL server on which nothing can hang: everything is sent and awaited
// asynchronously, and a server that stays silent for longer than the bound is given up. libpq's
// own blocking calls, its keepalives and its cancel requests do not bound a frozen server.
#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "postgres/binary.h"
#include "store/store.h"

namespace kelp::postgres {

// A failure that the server reported, with its SQLSTATE.
class SqlFailure : public Failure {
 public:
  SqlFailure(std::string state, ResultCode code, const std::string &text)
      : Failure(code, text), state_(std::move(state)) {}
  const std::string &state() const { return state_; }

 private:
  std::string state_;
};

struct Command {
  std::string sql;  // prepared once per session
  std::vector<Parameter> parameters = {};
  bool binary_result = true;
};

class Session {
 public:
  using Clock = std::chrono::steady_clock;

  // Connects to the first host of the address that takes the session, and writes in it, all of them
  // together within the bound.
  explicit Session(const StoreAddress &address);

  const std::string &server() const { return server_; }

  // Sends the commands in one round trip and returns their results. Outside a transaction they are
  // one by themselves. Without commands it is an empty round trip.
  std::vector<Result> exchange(const std::vector<Command> &commands);

  // Begins a transaction with the next exchange.
  void begin() { begin_pending_ = true; }
  // A round trip of its own, so that a call that was given up before is never committed later.
  void commit();
  void roll_back() noexcept;

  bool usable() const { return connection_ != nullptr && !read_only_; }
  Clock::duration bound() const { return bound_; }

 private:
  struct ConnectionCloser {
    void operator()(PGconn *connection) const { PQfinish(connection); }
  };

  using Handle = std::unique_ptr<PGconn, ConnectionCloser>;

  void connect(const StoreAddress &address, const std::string &host, Clock::time_point deadline);
  void await_connection(PGconn *connection, Clock::time_point deadline) const;
  static void enter_pipeline(PGconn *connection);
  // What was sent and will be answered by one result each: a statement, or its preparation.
  struct Sent {
    std::string sql;
    bool preparation;
  };
  void send(const Command &command, std::vector<Sent> &sent);
  std::vector<Result> collect(const std::vector<Sent> &sent);
  void flush();
  Result next_result();
  // Waits for the socket; reads what has come. Gives the connection up at the end of the bound.
  void wait(bool to_write);
  [[noreturn]] void give_up(ResultCode code, const std::string &cause);
  [[noreturn]] void fail(const PGresult *result);

  Handle connection_;
  std::string server_;  // names the server in failures
  Clock::duration bound_;
  bool begin_pending_ = false;
  bool in_transaction_ = false;
  bool read_only_ = false;  // the server turned out to take no writes
  std::unordered_map<std::string, std::string> prepared_;  // names by text
  int next_name_ = 0;
};

}  // namespace kelp::postgres
