// Rows go to the server in key order and without repeated keys: a statement cannot touch a row
// twice, and writers that take rows in one order do not deadlock. A write holds on to its points
// (FOR KEY SHARE), so that one deleted meanwhile leaves no samples behind; points that do not exist
// are found by their number only after the fact, and the write is done again without them.
#include "postgres/postgres_store.h"

#include <algorithm>
#include <random>
#include <thread>

#include "postgres/conversion.h"
#include "postgres/sample_columns.h"
#include "postgres/schema.h"
#include "postgres/sqlstate.h"

namespace kelp::postgres {

namespace {

// A call of more rows takes several statements in its one transaction, so that the server need not
// stay silent for long.
constexpr size_t kRowsPerStatement = 65536;

// Asked for in one round trip, since all its results are in memory together.
constexpr size_t kRowsPerTrip = 32768;

const std::string kHoldPoints =
    "SELECT count(*) FROM (SELECT 1 FROM object WHERE id = ANY ($1) AND " + kIsPoint +
    " FOR KEY SHARE) AS held";

const std::string kInsertSamples = std::string(
                                       "INSERT INTO sample (point_id, time, status, value)"
                                       " SELECT * FROM unnest($1, $2, $3, $4)") +
                                   kReplaceSample;

const std::string kSetCurrentValues =
    std::string(
        "INSERT INTO current_value (point_id, time, status, value)"
        " SELECT * FROM unnest($1, $2, $3, $4)") +
    kReplaceCurrentValue;

const std::string kSelectRange =
    "SELECT time, status, value FROM sample WHERE point_id = $1 AND time >= $2 AND time < $3"
    " ORDER BY time LIMIT $4";

const std::string kCountSamples =
    "SELECT count(*) FROM sample WHERE point_id = $1 AND time >= $2 AND time < $3";

const std::string kCountIntervals =
    "SELECT count(DISTINCT (time - CAST ($2 AS int8)) / $4) FROM sample"
    " WHERE point_id = $1 AND time >= $2 AND time < $3";

// Beside `i`, the ids or names that were asked for: the point of each, or nulls.
const std::string kJoinPointById = " LEFT JOIN object AS o ON o.id = i.id AND " + kIsPoint;

// Thrown, and caught, where some of the points that were written to turn out not to exist.
struct UnknownPoints {};

}  // namespace

PostgresStore::PostgresStore(const StoreAddress &address) : session_(address) {
  if (address.lazy_commits) session_.exchange({{"SET synchronous_commit TO off"}});
  prepare_schema(session_);
  session_.exchange({{"SET search_path TO kelp"}});
}

template <typename Work>
auto PostgresStore::retried(Work &&work) {
  constexpr std::chrono::milliseconds kLongestPause(500);
  static thread_local std::minstd_rand random{std::random_device()()};
  const auto deadline = Session::Clock::now() + session_.bound();
  for (std::chrono::milliseconds longest(20);; longest = std::min(longest * 2, kLongestPause)) {
    const auto pause = longest * (random() % 1000) / 1000;
    try {
      return work();
    } catch (const SqlFailure &failure) {
      if (!is_retryable(failure.state()) || Session::Clock::now() + pause > deadline) throw;
    }
    std::this_thread::sleep_for(pause);
  }
}

Result PostgresStore::ask(const std::string &query, std::vector<Parameter> parameters) {
  const std::vector<Command> commands{{query, std::move(parameters)}};
  return retried([&] { return std::move(session_.exchange(commands)[0]); });
}

template <typename Work>
auto PostgresStore::transaction(Work &&work) {
  return retried([&] {
    session_.begin();
    try {
      auto result = work();
      session_.commit();
      return result;
    } catch (...) {
      session_.roll_back();
      throw;
    }
  });
}

bool PostgresStore::alive() {
  session_.exchange({});
  return session_.usable();
}

int32_t PostgresStore::now() {
  const Result row = ask("SELECT CAST (floor(extract(epoch FROM clock_timestamp())) AS integer)");
  return number_at<int32_t>(row, 0, 0);
}

std::vector<std::vector<SqlRow>> PostgresStore::run(Access access,
                                                    const std::vector<SqlCommand> &commands) {
  std::vector<Command> prepared;
  for (const SqlCommand &command : commands) {
    Command &next = prepared.emplace_back(Command{command.sql});
    next.binary_result = false;
    for (const SqlValue &value : command.parameters) next.parameters.push_back(to_parameter(value));
  }
  const auto run_all = [&] {
    std::vector<std::vector<SqlRow>> rows;
    for (const Result &result : session_.exchange(prepared)) rows.push_back(to_rows(result.get()));
    return rows;
  };
  return access == Access::write ? transaction(run_all) : retried(run_all);
}

std::vector<int32_t> PostgresStore::point_ids(std::span<const std::string> names) {
  const Result found =
      ask("SELECT coalesce(o.id, 0) FROM unnest($1) WITH ORDINALITY AS n (name, position)"
          " LEFT JOIN object AS o ON o.full_name = n.name AND " +
              kIsPoint + " ORDER BY n.position",
          {text_array(names)});
  std::vector<int32_t> ids;
  for (size_t i = 0; i < names.size(); ++i) {
    ids.push_back(number_at<int32_t>(found, static_cast<int>(i), 0));
  }
  return ids;
}

std::vector<bool> PostgresStore::known_points(std::span<const int32_t> ids) {
  const Result found =
      ask("SELECT o.id IS NOT NULL FROM unnest($1) WITH ORDINALITY AS i (id, position)" +
              kJoinPointById + " ORDER BY i.position",
          {int4_array(ids)});
  std::vector<bool> known;
  for (size_t i = 0; i < ids.size(); ++i) {
    known.push_back(PQgetvalue(found.get(), static_cast<int>(i), 0)[0] != 0);
  }
  return known;
}

std::vector<ResultCode> PostgresStore::write(WriteKind kind, const SampleRows &rows) {
  std::vector<ResultCode> codes(rows.count, kOk);
  for (;;) {
    const std::vector<size_t> order = in_key_order(rows, codes);
    try {
      transaction([&] {
        for (size_t first = 0; first < order.size(); first += kRowsPerStatement) {
          const size_t count = std::min(kRowsPerStatement, order.size() - first);
          write_part(kind, rows, std::span(order).subspan(first, count));
        }
        return 0;
      });
      return codes;
    } catch (const UnknownPoints &) {
      mark_unknown(rows, order, codes);
    }
  }
}

void PostgresStore::write_part(WriteKind kind, const SampleRows &rows,
                               std::span<const size_t> part) {
  const std::vector<int32_t> points = distinct_ids(rows, part);
  const std::vector<Parameter> parameters = to_columns(rows, part);
  std::vector<Command> commands{{kHoldPoints, {int4_array(points)}}, {kInsertSamples, parameters}};
  if (kind == WriteKind::realtime) commands.push_back({kSetCurrentValues, parameters});
  const auto results = session_.exchange(commands);
  const auto held = number_at<int64_t>(results[0], 0, 0);
  if (held != static_cast<int64_t>(points.size())) throw UnknownPoints();
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
  return to_readings(ask(
      "SELECT o.id IS NOT NULL, c.time, c.status, c.value"
      " FROM unnest($1) WITH ORDINALITY AS i (id, position)" +
          kJoinPointById + " LEFT JOIN current_value AS c ON c.point_id = i.id ORDER BY i.position",
      {int4_array(ids)}));
}

std::vector<Reading> PostgresStore::as_of(std::span<const int32_t> ids, int32_t time) {
  return to_readings(
      ask("SELECT o.id IS NOT NULL, s.time, s.status, s.value"
          " FROM unnest($1) WITH ORDINALITY AS i (id, position)" +
              kJoinPointById +
              " LEFT JOIN LATERAL (SELECT time, status, value FROM sample"
              "   WHERE point_id = i.id AND time <= $2 ORDER BY time DESC LIMIT 1) AS s ON true"
              " ORDER BY i.position",
          {int4_array(ids), int4(time)}));
}

std::vector<std::vector<Sample>> PostgresStore::range(std::span<const RangeStart> points,
                                                      int32_t end, size_t limit) {
  const size_t points_per_trip = std::max<size_t>(kRowsPerTrip / limit, 1);
  std::vector<std::vector<Sample>> rows;
  while (rows.size() < points.size()) {
    std::vector<Command> commands;
    const size_t left = points.size() - rows.size();
    for (const RangeStart &point : points.subspan(rows.size(), std::min(left, points_per_trip))) {
      commands.push_back(
          {kSelectRange,
           {int4(point.id), int4(point.begin), int4(end), int4(static_cast<int32_t>(limit))}});
    }
    for (const Result &found : retried([&] { return session_.exchange(commands); })) {
      rows.push_back(to_samples(found));
    }
  }
  return rows;
}

int64_t PostgresStore::count(RangeStart point, int32_t end, int32_t step) {
  std::vector<Parameter> parameters{int4(point.id), int4(point.begin), int4(end)};
  if (step != 1) parameters.push_back(int4(step));
  return number_at<int64_t>(ask(step == 1 ? kCountSamples : kCountIntervals, parameters), 0, 0);
}

}  // namespace kelp::postgres
