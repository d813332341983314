// The session stays in libpq's pipeline mode throughout: any number of commands, then a sync, is
// one round trip. Every answer resets the time that the server may stay silent.
#include "postgres/session.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "postgres/sqlstate.h"

namespace kelp::postgres {

namespace {

using Clock = Session::Clock;

std::string first_line(const char *text) {
  const std::string line = text ? text : "";
  return line.substr(0, line.find('\n'));
}

std::vector<std::string> split_hosts(const std::string &hosts) {
  std::vector<std::string> result;
  for (size_t start = 0;;) {
    const size_t comma = hosts.find(',', start);
    result.push_back(hosts.substr(start, comma - start));
    if (comma == std::string::npos) return result;
    start = comma + 1;
  }
}

// Waits for the events on a socket; false at the deadline.
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

}  // namespace

Session::Session(const StoreAddress &address)
    : bound_(std::chrono::seconds(std::max(address.wait_seconds, 1))) {
  const auto deadline = Clock::now() + bound_;
  const std::vector<std::string> hosts = split_hosts(address.host);
  std::string causes;
  ResultCode code = kNoConnection;
  for (size_t i = 0; i < hosts.size() && !connection_; ++i) {
    const auto now = Clock::now();
    const auto share = (deadline - now) / static_cast<int64_t>(hosts.size() - i);
    try {
      connect(address, hosts[i], now + share);
    } catch (const Failure &failure) {
      causes += (causes.empty() ? "" : "; ") + std::string(failure.what());
      code = failure.code();
    }
  }
  if (!connection_) throw Failure(code, causes);
}

void Session::connect(const StoreAddress &address, const std::string &host,
                      Clock::time_point deadline) {
  const std::string port = std::to_string(address.port);
  server_ = "server " + host + ":" + port;
  // libpq takes an empty text for a setting that was not given.
  const std::pair<const char *, const char *> settings[] = {{"host", host.c_str()},
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
  Handle connection(PQconnectStartParams(keywords.data(), values.data(), 0));
  if (!connection) throw Failure(kOutOfMemory, "out of memory");
  PQsetNoticeReceiver(
      connection.get(), [](void *, const PGresult *) {}, nullptr);
  await_connection(connection.get(), deadline);
  enter_pipeline(connection.get());
  connection_ = std::move(connection);
}

void Session::await_connection(PGconn *connection, Clock::time_point deadline) const {
  auto state =
      PQstatus(connection) == CONNECTION_BAD ? PGRES_POLLING_FAILED : PGRES_POLLING_WRITING;
  while (state != PGRES_POLLING_OK && state != PGRES_POLLING_FAILED) {
    const short events = state == PGRES_POLLING_READING ? POLLIN : POLLOUT;
    if (!wait_for_socket(PQsocket(connection), events, deadline)) {
      throw Failure(kNoConnection, server_ + ": no answer while connecting");
    }
    state = PQconnectPoll(connection);
  }
  if (state == PGRES_POLLING_FAILED) {
    throw Failure(kNoConnection, first_line(PQerrorMessage(connection)));
  }
}

void Session::enter_pipeline(PGconn *connection) {
  if (PQsetnonblocking(connection, 1) != 0 || PQenterPipelineMode(connection) != 1) {
    throw Failure(kInternal, first_line(PQerrorMessage(connection)));
  }
}

std::vector<Result> Session::exchange(const std::vector<Command> &commands) {
  if (!connection_) throw Failure(kLost);  // why was said when it was lost
  const bool begins = begin_pending_;
  begin_pending_ = false;
  in_transaction_ = in_transaction_ || begins;
  try {
    std::vector<Sent> sent;
    if (begins) send({"BEGIN"}, sent);
    for (const Command &command : commands) send(command, sent);
    if (PQpipelineSync(connection_.get()) != 1) give_up(kLost, "the connection was lost");
    flush();
    std::vector<Result> results = collect(sent);
    if (begins) results.erase(results.begin());
    return results;
  } catch (const SqlFailure &) {
    throw;
  } catch (...) {
    // Unread answers would be taken for those of the next commands.
    connection_.reset();
    throw;
  }
}

void Session::commit() {
  begin_pending_ = false;
  if (!in_transaction_) return;
  exchange({{"COMMIT"}});
  in_transaction_ = false;
}

void Session::roll_back() noexcept {
  begin_pending_ = false;
  if (!in_transaction_ || !connection_) return;
  try {
    exchange({{"ROLLBACK"}});
  } catch (...) {
    // The server does it when it finds the connection gone.
    connection_.reset();
  }
  in_transaction_ = false;
}

void Session::send(const Command &command, std::vector<Sent> &sent) {
  std::vector<Oid> types;
  std::vector<const char *> values;
  std::vector<int> lengths;
  std::vector<int> formats;
  for (const Parameter &parameter : command.parameters) {
    types.push_back(parameter.type);
    values.push_back(parameter.null ? nullptr : parameter.bytes.c_str());
    lengths.push_back(static_cast<int>(parameter.bytes.size()));
    formats.push_back(parameter.binary);
  }
  const int count = static_cast<int>(types.size());
  PGconn *connection = connection_.get();
  const auto [statement, added] = prepared_.try_emplace(command.sql);
  bool taken = true;
  if (added) {
    statement->second = "kelp" + std::to_string(next_name_++);
    sent.push_back({command.sql, true});
    taken = PQsendPrepare(connection, statement->second.c_str(), command.sql.c_str(), count,
                          types.data()) == 1;
  }
  sent.push_back({command.sql, false});
  taken = taken && PQsendQueryPrepared(connection, statement->second.c_str(), count, values.data(),
                                       lengths.data(), formats.data(), command.binary_result) == 1;
  if (!taken) give_up(kLost, first_line(PQerrorMessage(connection)));
}

std::vector<Result> Session::collect(const std::vector<Sent> &sent) {
  std::vector<Result> results;
  Result failed;
  for (size_t i = 0; Result result = next_result(); ++i) {
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_PIPELINE_SYNC) break;
    const bool done = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
    const bool preparation = i < sent.size() && sent[i].preparation;
    if (!done && preparation) prepared_.erase(sent[i].sql);
    if (done && !preparation) results.push_back(std::move(result));
    if (!done && !failed) failed = std::move(result);
    // Nothing more will come, and the first failure says best why.
    if (failed && PQstatus(connection_.get()) == CONNECTION_BAD) break;
  }
  if (failed) fail(failed.get());
  return results;
}

void Session::flush() {
  for (;;) {
    const int left = PQflush(connection_.get());
    if (left == 0) return;
    if (left < 0) give_up(kLost, first_line(PQerrorMessage(connection_.get())));
    wait(true);
  }
}

// The next result of the pipeline; libpq ends the results of each command with a null.
Result Session::next_result() {
  PGconn *connection = connection_.get();
  for (;;) {
    while (PQstatus(connection) != CONNECTION_BAD && PQisBusy(connection)) wait(false);
    Result result(PQgetResult(connection));
    if (result) return result;
    if (PQstatus(connection) == CONNECTION_BAD) give_up(kLost, "the connection was lost");
  }
}

void Session::wait(bool to_write) {
  const short events = to_write ? POLLIN | POLLOUT : POLLIN;
  if (!wait_for_socket(PQsocket(connection_.get()), events, Clock::now() + bound_)) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(bound_).count();
    give_up(kTimedOut, "no answer for " + std::to_string(seconds) + " s");
  }
  // A failure to read shows up in the results, with its cause.
  PQconsumeInput(connection_.get());
}

void Session::give_up(ResultCode code, const std::string &cause) {
  const std::string text = server_ + ": " + cause;
  connection_.reset();
  throw Failure(code, text);
}

void Session::fail(const PGresult *result) {
  const char *field = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  const std::string state = field ? field : "";
  const char *primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  const std::string text =
      server_ + ": " + first_line(primary ? primary : PQresultErrorMessage(result));
  const ResultCode code = code_of_sqlstate(state);
  if (code == kReadOnly) read_only_ = true;
  if (code == kLost || PQstatus(connection_.get()) == CONNECTION_BAD) connection_.reset();
  throw SqlFailure(state, code, text);
}

}  // namespace kelp::postgres
