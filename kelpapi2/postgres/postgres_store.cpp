// Rows go to the server in key order and without repeated keys: a statement cannot touch a row
// twice, and writers that take rows in one order do not deadlock. A write holds on to its points in
// the same order (FOR KEY SHARE), so that one deleted meanwhile leaves no samples behind; points
// that do not exist make it fail, and it is done again without them.
//
// Samples are inserted plainly, at two thirds of what an insert costs that may also replace. One
// that meets a sample of the same time is done again as such, and so are the next ones: who writes
// a time twice is likely to go on with it.
#include "postgres/postgres_store.h"

#include <algorithm>
#include <random>
#include <thread>

#include "postgres/conversion.h"
#include "postgres/erased_points.h"
#include "postgres/history.h"
#include "postgres/sample_columns.h"
#include "postgres/schema.h"
#include "postgres/sqlstate.h"

namespace kelp::postgres {

namespace {

// A call of more rows takes several statements in its one transaction, so that the server need not
// stay silent for long.
constexpr size_t kRowsPerStatement = 16384;
constexpr int kUpsertsAfterConflict = 64;

// Fails, by a division by zero, unless there are $2 such points.
const std::string kHoldPoints =
    "SELECT 1 / CAST (count(*) = $2 AS int4) FROM (SELECT 1 FROM kelp.object WHERE id = ANY ($1)"
    " AND " +
    kIsPoint + " ORDER BY id FOR KEY SHARE) AS held";

const std::string kRows =
    " (point_id, time, status, value) SELECT * FROM ROWS FROM (pg_catalog.unnest($1),"
    " pg_catalog.unnest($2), pg_catalog.unnest($3), pg_catalog.unnest($4)) AS row";
const std::string kInsertSamples = "INSERT INTO kelp.sample" + kRows;
const std::string kSetCurrentValues =
    "INSERT INTO kelp.current_value" + kRows + kReplaceCurrentValue;

// Of the ids, or names, in `i`: the point, or nulls.
const std::string kEachId = " FROM pg_catalog.unnest($1) WITH ORDINALITY AS i (id, position)";
const std::string kJoinPoint = " LEFT JOIN kelp.object AS o ON o.id = i.id AND " + kIsPoint;
const std::string kInOrder = " ORDER BY i.position";

// The answer to which_exist for the point at a position.
bool known_at(const Result &existing, size_t position) {
  return bool_at(existing, static_cast<int>(position), 0);
}

// How far a sweep after a call, and one when a session is opened, may delay it.
Clock::duration sweep_after_call(Clock::duration bound) { return bound / 3; }
Clock::duration sweep_when_opened(Clock::duration bound) { return bound / 30; }

}  // namespace

PostgresStore::PostgresStore(const StoreAddress &address)
    : SqlStore("kelp.object"), session_(address) {
  prepare_schema(session_);
  remove_leftovers(session_, sweep_when_opened(session_.bound()));
}

template <typename Work>
auto PostgresStore::retried(Work &&work) {
  constexpr std::chrono::milliseconds kLongestPause(500);
  static thread_local std::minstd_rand random{std::random_device()()};
  const auto deadline = Clock::now() + session_.bound();
  for (std::chrono::milliseconds longest(20);; longest = std::min(longest * 2, kLongestPause)) {
    const auto pause = longest * (random() % 1000) / 1000;
    try {
      return work();
    } catch (const SqlFailure &failure) {
      if (!is_retryable(failure.state()) || Clock::now() + pause > deadline) throw;
    }
    std::this_thread::sleep_for(pause);
  }
}

Result PostgresStore::ask(const std::string &query, std::vector<Parameter> parameters) {
  const std::vector<Command> commands{{query, std::move(parameters)}};
  return retried([&] { return std::move(session_.exchange(commands)[0]); });
}

// That a point exists is asked last: nothing was removed yet of one that then was still there.
std::vector<Result> PostgresStore::ask_each(std::vector<Command> queries,
                                            std::span<const int32_t> ids) {
  queries.push_back(which_exist(ids));
  return retried([&] { return session_.exchange(queries); });
}

std::vector<Reading> PostgresStore::read_each(std::vector<Command> queries,
                                              std::span<const int32_t> ids) {
  const std::vector<Result> found = ask_each(std::move(queries), ids);
  std::vector<Reading> readings(ids.size());
  for (size_t i = 0; i < ids.size(); ++i) {
    if (!known_at(found.back(), i)) {
      readings[i].error = kUnknownName;
    } else if (PQntuples(found[i].get()) > 0) {
      readings[i] = {sample_at(found[i], 0, 0), kOk};
    }
  }
  return readings;
}

bool PostgresStore::alive() {
  session_.exchange({});
  return session_.usable();
}

int32_t PostgresStore::now() {
  const Result row =
      ask("SELECT CAST (floor(extract(epoch FROM pg_catalog.clock_timestamp())) AS int4)");
  return number_at<int32_t>(row, 0, 0);
}

std::vector<SqlResult> PostgresStore::run_all(Access access,
                                              const std::vector<SqlCommand> &commands) {
  std::vector<Command> prepared;
  for (const SqlCommand &command : commands) {
    Command &next = prepared.emplace_back(Command{command.sql});
    for (const SqlValue &value : command.parameters) next.parameters.push_back(to_parameter(value));
  }
  const std::vector<Result> found = retried([&] {
    return access == Access::write ? session_.transact(prepared) : session_.exchange(prepared);
  });
  std::vector<SqlResult> results(commands.size());
  for (size_t i = 0; i < commands.size(); ++i) {
    results[i].rows = to_rows(found[i], commands[i].columns);
  }
  return results;
}

bool PostgresStore::can_hold(const std::string &text) {
  try {
    session_.exchange({{"SELECT CAST ($1 AS text)", {{text}}}});
    return true;
  } catch (const SqlFailure &failure) {
    if (is_unfit_text(failure.state())) return false;
    throw;
  }
}

bool PostgresStore::can_hold_all(const SqlCommand &command) {
  return std::all_of(command.parameters.begin(), command.parameters.end(),
                     [&](const SqlValue &value) {
                       const auto *text = std::get_if<std::string>(&value);
                       return text == nullptr || can_hold(*text);
                     });
}

// A text that the database cannot hold fails the whole round trip: then each command is looked at.
std::vector<SqlResult> PostgresStore::run(Access access, const std::vector<SqlCommand> &commands) {
  try {
    return run_all(access, commands);
  } catch (const SqlFailure &failure) {
    if (!is_unfit_text(failure.state())) throw;
  }
  std::vector<SqlCommand> fit;
  std::vector<size_t> positions;
  std::vector<SqlResult> results(commands.size(), {{}, true});
  for (size_t i = 0; i < commands.size(); ++i) {
    if (!can_hold_all(commands[i])) continue;
    fit.push_back(commands[i]);
    positions.push_back(i);
  }
  std::vector<SqlResult> found = run_all(access, fit);
  for (size_t i = 0; i < found.size(); ++i) results[positions[i]] = std::move(found[i]);
  return results;
}

std::vector<int32_t> PostgresStore::point_ids(std::span<const std::string> names) {
  const auto look_up = [&](std::span<const std::string> texts) {
    return ask(
        "SELECT coalesce(o.id, 0) FROM pg_catalog.unnest($1) WITH ORDINALITY AS i (name, position)"
        " LEFT JOIN kelp.object AS o ON o.full_name = i.name AND " +
            kIsPoint + kInOrder,
        {text_array(texts)});
  };
  Result found;
  try {
    found = look_up(names);
  } catch (const SqlFailure &failure) {
    if (!is_unfit_text(failure.state())) throw;
    std::vector<std::string> fit(names.begin(), names.end());
    for (std::string &name : fit) {
      if (!can_hold(name)) name.clear();  // the name of nothing
    }
    found = look_up(fit);
  }
  std::vector<int32_t> ids;
  for (int row = 0; row < rows_of(found, names.size()); ++row) {
    ids.push_back(number_at<int32_t>(found, row, 0));
  }
  return ids;
}

std::vector<bool> PostgresStore::known_points(std::span<const int32_t> ids) {
  const std::vector<Command> query{which_exist(ids)};
  const Result existing = retried([&] { return std::move(session_.exchange(query)[0]); });
  std::vector<bool> known;
  for (size_t i = 0; i < ids.size(); ++i) known.push_back(known_at(existing, i));
  return known;
}

std::vector<SqlCommand> PostgresStore::removal(int64_t id) const {
  return {{kNoteErasedPoint, {id}}};
}

std::vector<ResultCode> PostgresStore::erase(const std::string &parent,
                                             std::span<const int32_t> ids) {
  std::vector<ResultCode> codes = SqlStore::erase(parent, ids);
  remove_leftovers(session_, sweep_after_call(session_.bound()));
  return codes;
}

std::vector<ResultCode> PostgresStore::write(WriteKind kind, const SampleRows &rows) {
  std::vector<ResultCode> codes(rows.count, kOk);
  for (;;) {
    const std::vector<size_t> order = in_key_order(rows, codes);
    const bool plainly = inserts_plainly();
    try {
      retried([&] { write_rows(kind, rows, order); });
      if (!plainly && upserts_left_ > 0) --upserts_left_;
      return codes;
    } catch (const SqlFailure &failure) {
      if (failure.state() == kDivisionByZero) {
        mark_unknown(rows, order, codes);
      } else if (plainly && is_key_conflict(failure.state())) {
        upserts_left_ = kUpsertsAfterConflict;
      } else {
        throw;
      }
    }
  }
}

void PostgresStore::write_rows(WriteKind kind, const SampleRows &rows,
                               std::span<const size_t> order) {
  if (order.size() <= kRowsPerStatement) {
    if (!order.empty()) session_.transact(write_commands(kind, rows, order));
    return;
  }
  session_.begin();
  try {
    for (size_t first = 0; first < order.size(); first += kRowsPerStatement) {
      const size_t count = std::min(kRowsPerStatement, order.size() - first);
      session_.exchange(write_commands(kind, rows, order.subspan(first, count)));
    }
    session_.commit();
  } catch (...) {
    session_.roll_back();
    throw;
  }
}

std::vector<Command> PostgresStore::write_commands(WriteKind kind, const SampleRows &rows,
                                                   std::span<const size_t> part) const {
  const std::vector<int32_t> points = distinct_ids(rows, part);
  const std::vector<Parameter> columns = to_columns(rows, part);
  std::vector<Command> commands{
      {kHoldPoints, {int4_array(points), int4(static_cast<int32_t>(points.size()))}},
      {inserts_plainly() ? kInsertSamples : kInsertSamples + kReplaceSample, columns}};
  if (kind == WriteKind::realtime) commands.push_back({kSetCurrentValues, columns});
  return commands;
}

void PostgresStore::mark_unknown(const SampleRows &rows, std::span<const size_t> order,
                                 std::vector<ResultCode> &codes) {
  const std::vector<int32_t> points = distinct_ids(rows, order);
  const std::vector<bool> known = known_points(points);
  for (size_t row = 0; row < rows.count; ++row) {
    const auto point = std::lower_bound(points.begin(), points.end(), rows.ids[row]);
    if (point == points.end() || *point != rows.ids[row]) continue;  // marked before
    if (!known[point - points.begin()]) codes[row] = kUnknownName;
  }
}

std::vector<Reading> PostgresStore::current(std::span<const int32_t> ids) {
  if (!session_.engine().joins_samples) {
    std::vector<Command> queries;
    for (const int32_t id : ids) {
      queries.push_back(
          {"SELECT time, status, value FROM kelp.current_value WHERE point_id = $1", {int4(id)}});
    }
    return read_each(std::move(queries), ids);
  }
  return to_readings(
      ask("SELECT o.id IS NOT NULL, c.time, c.status, c.value" + kEachId + kJoinPoint +
              " LEFT JOIN kelp.current_value AS c ON c.point_id = i.id" + kInOrder,
          {int4_array(ids)}),
      ids.size());
}

std::vector<Reading> PostgresStore::as_of(std::span<const int32_t> ids, int32_t time) {
  if (!session_.engine().joins_samples) {
    std::vector<Command> queries;
    for (const int32_t id : ids) {
      queries.push_back(
          {"SELECT time, status, value FROM kelp.sample"
           " WHERE point_id = $1 AND time <= $2 ORDER BY time DESC LIMIT 1",
           {int4(id), int4(time)}});
    }
    return read_each(std::move(queries), ids);
  }
  return to_readings(
      ask("SELECT o.id IS NOT NULL, s.time, s.status, s.value" + kEachId + kJoinPoint +
              " LEFT JOIN LATERAL (SELECT time, status, value FROM kelp.sample"
              "   WHERE point_id = i.id AND time <= $2 ORDER BY time DESC LIMIT 1) AS s ON true" +
              kInOrder,
          {int4_array(ids), int4(time)}),
      ids.size());
}

std::unique_ptr<HistoryRows> PostgresStore::history(const HistoryQuery &query) {
  return retried([&] { return read_history(session_, query); });
}

}  // namespace kelp::postgres
