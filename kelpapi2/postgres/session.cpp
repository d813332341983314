// The session stays in libpq's pipeline mode throughout: any number of commands, then a sync, is
// one round trip. Every answer resets the time that the server may stay silent, and a flush request
// after every command keeps the server from holding answers back.
//
// A server that was frozen, or cut off, goes on with what it had received when it thaws, though the
// call that sent it was given up long before. So a commit is not sent before the answers are there;
// or else the statement before it fails on the server if the server's clock says that by then the
// call may have been given up. The clock is read with every such commit, and a connection that is
// given up takes back what has not been delivered.
#include "postgres/session.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "postgres/sqlstate.h"

namespace kelp::postgres {

namespace {

// Explicitly: under a stricter default of the server, a write would not see that its point was
// deleted while it waited for it.
const Command kBegin{"BEGIN ISOLATION LEVEL READ COMMITTED"};
const Command kBeginMoment{"BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"};
const Command kCommit{"COMMIT"};

const std::string kServerTime = "CAST (extract(epoch FROM pg_catalog.clock_timestamp()) AS float8)";

const std::string kTooLate = "the call may have been given up by now";
const std::string kInTime = "SELECT clock, CASE WHEN clock < $1 THEN 1 ELSE CAST ('" + kTooLate +
                            ", ' || CAST (clock AS text) AS int4) END FROM (SELECT " + kServerTime +
                            ") AS server (clock)";
constexpr const char *kUnasked = "an answer that was not asked for";

double seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

std::string field_of(const PGresult *result, int field) {
  const char *text = PQresultErrorField(result, field);
  return text ? text : "";
}

std::string state_of(const PGresult *result) { return field_of(result, PG_DIAG_SQLSTATE); }

std::string message_of(const PGresult *result) {
  const std::string primary = field_of(result, PG_DIAG_MESSAGE_PRIMARY);
  return first_line(primary.empty() ? PQresultErrorMessage(result) : primary.c_str());
}

// Whether an error or a notice is the last one of a session.
bool ends_session(const PGresult *result) {
  const std::string severity = field_of(result, PG_DIAG_SEVERITY_NONLOCALIZED);
  const std::string state = state_of(result);
  const bool is_loss = !state.empty() && code_of_sqlstate(state) == kLost;
  return severity == "FATAL" || severity == "PANIC" || is_loss;
}

// Fails unless the result is that of a transaction that was committed, and not rolled back.
void check_committed(const Result &result) {
  if (std::string_view(PQcmdStatus(result.get())) != kCommit.sql) {
    throw Failure(kConflict, "the server rolled a transaction back");
  }
}

}  // namespace

Session::Session(const StoreAddress &address)
    : bound_(std::chrono::seconds(std::max(address.wait_seconds, 1))) {
  connection_ = connect(address, Clock::now() + bound_);
  PQsetNoticeReceiver(
      connection(),
      [](void *session, const PGresult *notice) { static_cast<Session *>(session)->hear(notice); },
      this);
  if (PQsetnonblocking(connection(), 1) != 0 || PQenterPipelineMode(connection()) != 1) {
    throw Failure(kInternal, first_line(PQerrorMessage(connection())));
  }
  configure(address.lazy_commits);
}

// A statement that takes, or waits for a lock, nearly as long as the bound is ended by the server:
// it does not live on there after the call was given up. Settings of the user that are stricter
// stay. Only the names of these settings are fixed, since not every server knows all of them.
void Session::configure(bool lazy_commits) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(bound_).count();
  const std::string longest = std::to_string(milliseconds * 9 / 10);
  const auto set = [](const std::string &setting, const std::string &value) {
    return Command{"SELECT pg_catalog.set_config('" + setting + "', '" + value + "', false)"};
  };
  std::vector<Command> commands{set("search_path", "pg_catalog"),
                                {"SELECT pg_catalog.set_config(name, '" + longest +
                                 "', false) FROM pg_catalog.pg_settings"
                                 " WHERE CASE WHEN name IN ('lock_timeout', 'statement_timeout')"
                                 " THEN CAST (setting AS int8) NOT BETWEEN 1 AND " +
                                 longest + " ELSE false END"}};
  if (lazy_commits) commands.push_back(set("synchronous_commit", "off"));
  // Such a database holds any bytes, and converts none.
  const char *encoding = PQparameterStatus(connection(), "server_encoding");
  if (encoding && std::string_view(encoding) == "SQL_ASCII") {
    commands.push_back(set("client_encoding", "SQL_ASCII"));
  }
  exchange(commands);
  try {
    exchange(
        {{"SELECT pg_catalog.set_config(name, '1000', false) FROM pg_catalog.pg_settings"
          " WHERE name = 'client_connection_check_interval' AND setting = '0'"}});
  } catch (const SqlFailure &failure) {
    // The server's system cannot watch connections; the limits above have to do.
    if (failure.state() != "22023") throw;
  }
  ask_engine();
  read_clock();
}

// A cluster over which tables are distributed keeps catalogs of its own, and its workers know that
// they are not the coordinator.
void Session::ask_engine() {
  const auto there = [](const std::string &catalog) {
    return Command{"SELECT pg_catalog.to_regclass('pg_catalog." + catalog + "') IS NOT NULL"};
  };
  const std::vector<Result> catalogs =
      exchange({there("pg_dist_partition"), there("pg_dist_local_group")});
  const bool distributes = bool_at(catalogs[0], 0, 0);
  engine_.joins_samples = engine_.inserts_arrays = engine_.one_moment = !distributes;
  if (!bool_at(catalogs[1], 0, 0)) return;
  const std::vector<Result> place =
      exchange({{"SELECT coalesce(max(groupid), 0) = 0 FROM pg_catalog.pg_dist_local_group"}});
  engine_.makes_objects = bool_at(place[0], 0, 0);
}

void Session::read_clock() {
  const std::vector<Result> results = exchange({{"SELECT " + kServerTime}});
  server_time_ = number_at<double>(results[0], 0, 0);
  server_time_read_ = heard_;
}

// Fails with the words kTooLate if the call that sends it now may have been given up already.
Command Session::in_time() const {
  const auto given_up = Clock::now() + bound_;
  return {kInTime, {float8(server_time_ + seconds(given_up - server_time_read_))}};
}

std::vector<Result> Session::exchange(const std::vector<Command> &commands) {
  if (begin_pending_ == nullptr) return round_trip({commands});
  const Commands begin(std::exchange(begin_pending_, nullptr), 1);
  in_transaction_ = true;
  std::vector<Result> results = round_trip({begin, commands});
  results.erase(results.begin());
  return results;
}

void Session::begin(Isolation isolation) {
  begin_pending_ = isolation == Isolation::one_moment ? &kBeginMoment : &kBegin;
}

std::vector<Result> Session::transact(const std::vector<Command> &commands) {
  const size_t timing = 1 + commands.size();
  try {
    const Command ending[] = {in_time(), kCommit};
    in_transaction_ = true;
    std::vector<Result> results = round_trip({Commands(&kBegin, 1), commands, ending});
    in_transaction_ = false;
    check_committed(results.back());
    server_time_ = number_at<double>(results[timing], 0, 0);
    server_time_read_ = heard_;
    results.resize(timing);
    results.erase(results.begin());
    return results;
  } catch (const SqlFailure &failure) {
    roll_back();
    if (!failure.says(kTooLate)) throw;
  }
  // It took long, and yet was not given up; or one of the clocks was set.
  read_clock();
  begin();
  try {
    std::vector<Result> results = exchange(commands);
    commit();
    return results;
  } catch (...) {
    roll_back();
    throw;
  }
}

void Session::commit() {
  begin_pending_ = nullptr;
  if (!in_transaction_) return;
  const std::vector<Result> results = round_trip({Commands(&kCommit, 1)});
  in_transaction_ = false;
  check_committed(results[0]);
}

void Session::roll_back() noexcept {
  begin_pending_ = nullptr;
  if (!in_transaction_ || !connection()) return;
  try {
    exchange({{"ROLLBACK"}});
  } catch (...) {
    // The server does it when it finds the connection gone.
    connection_.handle.reset();
  }
  in_transaction_ = false;
}

void Session::say_later(const Failure &failure) {
  if (!connection()) untold_ = failure.what();
}

// A server that ends a session says why, and then closes the connection: libpq takes what it says
// between two calls for a notice.
void Session::hear(const PGresult *notice) {
  ++notices_;
  if (ends_session(notice)) last_words_ = message_of(notice);
}

std::vector<Result> Session::round_trip(std::initializer_list<Commands> batches) {
  if (!connection()) throw Failure(kLost, std::exchange(untold_, ""));
  heard_ = Clock::now();
  try {
    PQconsumeInput(connection());
    PQisBusy(connection());  // looks at what has come
    if (!last_words_.empty()) give_up(kLost, last_words_);
    std::vector<Sent> sent;
    for (const Commands batch : batches) {
      for (const Command &command : batch) send(command, sent);
    }
    if (PQpipelineSync(connection()) != 1) give_up(kLost, "the connection was lost");
    flush();
    return collect(sent);
  } catch (const SqlFailure &) {
    throw;
  } catch (...) {
    // Unread answers would be taken for those of the next commands.
    connection_.handle.reset();
    throw;
  }
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
  constexpr int binary_result = 1;
  const auto [statement, added] = prepared_.try_emplace(command.sql);
  bool taken = true;
  if (added) {
    statement->second = "kelp" + std::to_string(next_name_++);
    sent.push_back({&statement->first, true});
    taken = PQsendPrepare(connection(), statement->second.c_str(), command.sql.c_str(), count,
                          types.data()) == 1;
  }
  sent.push_back({&statement->first, false});
  taken = taken &&
          PQsendQueryPrepared(connection(), statement->second.c_str(), count, values.data(),
                              lengths.data(), formats.data(), binary_result) == 1 &&
          PQsendFlushRequest(connection()) == 1;
  if (!taken) give_up(kLost, first_line(PQerrorMessage(connection())));
}

// One result for everything that was sent, then the sync; anything else is not understood.
std::vector<Result> Session::collect(const std::vector<Sent> &sent) {
  std::vector<Result> results;
  Result failed;
  for (const auto &[sql, preparation] : sent) {
    Result result = next_result();
    const ExecStatusType status = PQresultStatus(result.get());
    const bool done = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
    const bool skipped = status == PGRES_PIPELINE_ABORTED && failed;
    if (!done && !skipped && status != PGRES_FATAL_ERROR) {
      give_up(kLost, kUnasked);
    }
    if (!done && preparation) prepared_.erase(*sql);
    if (!done && !failed) {
      failed = std::move(result);
      // Nothing more will come, and the first failure says best why.
      const bool ended = ends_session(failed.get());
      if (ended || PQstatus(connection()) == CONNECTION_BAD) fail(failed.get());
    }
    if (preparation) continue;
    if (done) results.push_back(std::move(result));
  }
  if (PQresultStatus(next_result().get()) != PGRES_PIPELINE_SYNC) {
    give_up(kLost, kUnasked);
  }
  if (failed) fail(failed.get());
  return results;
}

void Session::flush() {
  for (;;) {
    const int left = PQflush(connection());
    if (left == 0) return;
    if (left < 0) give_up(kLost, first_line(PQerrorMessage(connection())));
    wait(true);
  }
}

// The next result of the pipeline. libpq ends the results of each command with a null, and gives
// nothing but nulls when it expects nothing more.
Result Session::next_result() {
  constexpr int most_ends = 2;
  for (int ends = 0; ends < most_ends; ++ends) {
    while (PQstatus(connection()) != CONNECTION_BAD && PQisBusy(connection())) wait(false);
    if (Result result{PQgetResult(connection())}) {
      heard_ = Clock::now();
      return result;
    }
    if (PQstatus(connection()) == CONNECTION_BAD) give_up(kLost, "the connection was lost");
  }
  give_up(kLost, kUnasked);
}

void Session::wait(bool to_write) {
  const short events = to_write ? POLLIN | POLLOUT : POLLIN;
  if (!wait_for_socket(PQsocket(connection()), events, heard_ + bound_)) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(bound_).count();
    give_up(kTimedOut, "no answer for " + std::to_string(seconds) + " s");
  }
  // A failure to read shows up in the results, with its cause.
  PQconsumeInput(connection());
  const int notices = notices_;
  PQisBusy(connection());  // looks at what has come
  if (notices_ == notices) heard_ = Clock::now();
}

void Session::give_up(ResultCode code, const std::string &cause) {
  const bool said_why = code == kLost && !last_words_.empty();
  const std::string text = server() + ": " + (said_why ? last_words_ : cause);
  if (code == kTimedOut) {
    const linger at_once{1, 0};
    setsockopt(PQsocket(connection()), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  }
  connection_.handle.reset();
  throw Failure(code, text);
}

void Session::fail(const PGresult *result) {
  const std::string state = state_of(result);
  const ResultCode code = code_of_sqlstate(state);
  const bool said_why = state.empty() && !last_words_.empty();
  const std::string text = server() + ": " + (said_why ? last_words_ : message_of(result));
  if (code == kReadOnly) read_only_ = true;
  if (code == kLost || ends_session(result) || PQstatus(connection()) == CONNECTION_BAD) {
    connection_.handle.reset();
  }
  throw SqlFailure(state, code, text);
}

}  // namespace kelp::postgres
