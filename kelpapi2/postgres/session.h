// A session at a PostgreSQL server on which nothing can hang: everything is sent and awaited
// asynchronously, and a server that stays silent for longer than the bound is given up. libpq's
// own blocking calls, its keepalives and its cancel requests do not limit how long a frozen server
// blocks us.
#pragma once

#include <initializer_list>
#include <span>
#include <unordered_map>
#include <vector>

#include "postgres/binary.h"
#include "postgres/connection.h"

namespace kelp::postgres {

// A failure that the server reported, with its SQLSTATE.
class SqlFailure : public Failure {
 public:
  SqlFailure(std::string state, ResultCode code, const std::string &text)
      : Failure(code, text), state_(std::move(state)) {}
  const std::string &state() const { return state_; }
  // Whether these words are in its message, as they are if a statement of ours failed by them.
  bool says(std::string_view words) const {
    return std::string_view(what()).find(words) != std::string_view::npos;
  }

 private:
  std::string state_;
};

struct Command {
  std::string sql;  // prepared once per session
  std::vector<Parameter> parameters = {};
};

// What engines that speak PostgreSQL's protocol differ in: asked once, when a session is made.
struct Engine {
  bool joins_samples = true;  // takes a list of points and finds samples of each in one statement
  bool inserts_arrays =
      true;                   // takes arrays as rows at no extra cost, and says which key was there
  bool one_moment = true;     // a transaction can see all points as of one moment
  bool makes_objects = true;  // gives numbers to new objects
};

// What the statements of a transaction see: what was committed when each of them began, or when
// the first one did.
enum class Isolation { each_statement, one_moment };

// What is said where makes_objects is needed and false.
constexpr const char *kConnectToCoordinator =
    "a worker of a cluster cannot make objects: connect to the coordinator";

class Session {
 public:
  // Connects and sets what the session needs, within the bound.
  explicit Session(const StoreAddress &address);
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  const std::string &server() const { return connection_.server; }

  // Sends the commands in one round trip and returns the result of each, in binary form. Outside a
  // transaction they are one by themselves. Without commands it is an empty round trip.
  std::vector<Result> exchange(const std::vector<Command> &commands);

  // The same as a transaction of its own, committed in the same round trip if the server gets to
  // that in time: a call that was given up is never committed later.
  std::vector<Result> transact(const std::vector<Command> &commands);

  // A transaction of several exchanges: it begins with the next one and is committed, or rolled
  // back, in a round trip of its own.
  // A transaction that sees one moment only reads.
  void begin(Isolation isolation = Isolation::each_statement);
  void commit();
  void roll_back() noexcept;

  // Has the next call say why the session is lost, if it is: this one ends well all the same.
  void say_later(const Failure &failure);

  bool usable() const { return connection_.handle != nullptr && !read_only_; }
  Clock::duration bound() const { return bound_; }
  const Engine &engine() const { return engine_; }

 private:
  PGconn *connection() const { return connection_.handle.get(); }
  void configure(bool lazy_commits);
  void ask_engine();
  void read_clock();
  Command in_time() const;

  using Commands = std::span<const Command>;
  // Notes what the server says of itself.
  void hear(const PGresult *notice);
  std::vector<Result> round_trip(std::initializer_list<Commands> batches);
  // What was sent and will be answered by one result each: a statement, or its preparation.
  struct Sent {
    const std::string *sql;  // in prepared_
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

  Connection connection_;
  Clock::duration bound_;
  const Command *begin_pending_ = nullptr;
  bool in_transaction_ = false;
  bool read_only_ = false;  // the server turned out to take no writes
  Engine engine_;

  Clock::time_point heard_;  // when the server last answered
  int notices_ = 0;          // which are no answers
  std::string last_words_;   // why the server ended the session, as it said
  std::string untold_;       // why the session is lost, if no call has said so
  // What the server's clock showed when it was last read, in seconds, and when that was heard.
  double server_time_ = 0;
  Clock::time_point server_time_read_;

  std::unordered_map<std::string, std::string> prepared_;  // names by text
  int next_name_ = 0;
};

}  // namespace kelp::postgres
