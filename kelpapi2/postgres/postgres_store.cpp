#include "postgres/postgres_store.h"

#include <algorithm>

#include "postgres/conversion.h"
#include "postgres/erased_points.h"
#include "postgres/history.h"
#include "postgres/retry.h"
#include "postgres/schema.h"

namespace kelp::postgres {

namespace {

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

Result PostgresStore::ask(const std::string &query, std::vector<Parameter> parameters) {
  const std::vector<Command> commands{{query, std::move(parameters)}};
  return retried(session_, [&] { return std::move(session_.exchange(commands)[0]); });
}

// That a point exists is asked last: nothing was removed yet of one that then was still there.
std::vector<Result> PostgresStore::ask_each(std::vector<Command> queries,
                                            std::span<const int32_t> ids) {
  queries.push_back(which_exist(ids));
  return retried(session_, [&] { return session_.exchange(queries); });
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

void PostgresStore::check() {
  session_.exchange({});
  if (!session_.usable()) throw Failure(kLost);
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
  const std::vector<Result> found = retried(session_, [&] {
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
    if (ids.back() != 0) points_.note(ids.back(), true);
  }
  return ids;
}

const char *PostgresStore::note_erased() const { return kNoteErasedPoint; }

std::vector<ResultCode> PostgresStore::insert(const std::string &parent,
                                              std::span<ObjectRecord *const> records) {
  if (!session_.engine().makes_objects) {
    throw Failure(kReadOnly, session_.server() + ": " + kConnectToCoordinator);
  }
  return SqlStore::insert(parent, records);
}

std::vector<ResultCode> PostgresStore::erase(const std::string &parent,
                                             std::span<const int32_t> ids) {
  std::vector<ResultCode> codes = SqlStore::erase(parent, ids);
  for (const int32_t id : ids) points_.note(id, false);
  remove_leftovers(session_, sweep_after_call(session_.bound()));
  return codes;
}

std::vector<ResultCode> PostgresStore::write(WriteKind kind, const SampleRows &rows) {
  return writer_.write(kind, rows);
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
  return retried(session_, [&] { return read_history(session_, query); });
}

}  // namespace kelp::postgres
