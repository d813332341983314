// Rows go to the server in key order and without repeated keys: a statement cannot touch a row
// twice, and writers that take rows in one order do not deadlock. A write holds on to its points
// (FOR KEY SHARE), so that one deleted meanwhile leaves no samples behind; points that do not exist
// are found by their number only after the fact, and the write is done again without them.
#include "postgres/postgres_store.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <thread>
#include <tuple>

#include "postgres/schema.h"
#include "postgres/sqlstate.h"

namespace kelp::postgres {

namespace {

// A call of more rows takes several statements in its one transaction, so that the server need not
// stay silent for long.
constexpr size_t kRowsPerStatement = 65536;

constexpr const char *kHoldPoints =
    "SELECT count(*) FROM (SELECT 1 FROM object WHERE id = ANY ($1) AND kind >= 32 FOR KEY SHARE)"
    " AS held";

constexpr const char *kInsertSamples =
    "INSERT INTO sample (point_id, time, status, value) SELECT * FROM unnest($1, $2, $3, $4)"
    " ON CONFLICT (point_id, time) DO UPDATE"
    " SET status = excluded.status, value = excluded.value";

constexpr const char *kSetCurrentValues =
    "INSERT INTO current_value (point_id, time, status, value)"
    " SELECT * FROM unnest($1, $2, $3, $4)"
    " ON CONFLICT (point_id) DO UPDATE"
    " SET time = excluded.time, status = excluded.status, value = excluded.value";

// Thrown, and caught, where some of the points that were written to turn out not to exist.
struct UnknownPoints {};

Parameter to_parameter(const SqlValue &value) {
  if (const auto *number = std::get_if<int64_t>(&value)) return {std::to_string(*number), 0};
  if (const auto *text = std::get_if<std::string>(&value)) return {*text, 0};
  if (const auto *real = std::get_if<double>(&value)) {
    Parameter parameter{{}, kFloat8, true};
    append_big_endian(parameter.bytes, *real);
    return parameter;
  }
  return {{}, 0, false, true};
}

SqlValue to_value(const PGresult *result, int row, int column) {
  if (PQgetisnull(result, row, column)) return {};
  const char *text = PQgetvalue(result, row, column);
  switch (PQftype(result, column)) {
    case kInt2:
    case kInt4:
    case kInt8: return int64_t{std::strtoll(text, nullptr, 10)};
    case kFloat8: return std::strtod(text, nullptr);
    default: return std::string(text);
  }
}

std::vector<SqlRow> to_rows(const PGresult *result) {
  std::vector<SqlRow> rows(PQntuples(result));
  for (int row = 0; row < PQntuples(result); ++row) {
    for (int column = 0; column < PQnfields(result); ++column) {
      rows[row].push_back(to_value(result, row, column));
    }
  }
  return rows;
}

Sample sample_at(const Result &result, int row, int first_column) {
  return {number_at<int32_t>(result, row, first_column),
          number_at<int16_t>(result, row, first_column + 1),
          number_at<double>(result, row, first_column + 2)};
}

// Rows of (whether the point is known, time, status, value), the last three null without a value.
std::vector<Reading> to_readings(const Result &result) {
  std::vector<Reading> readings(PQntuples(result.get()));
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    if (PQgetvalue(result.get(), row, 0)[0] == 0) {
      readings[row].error = kUnknownName;
    } else if (!PQgetisnull(result.get(), row, 1)) {
      readings[row] = {sample_at(result, row, 1), kOk};
    }
  }
  return readings;
}

// The rows whose code is kOk in key order, the last row of each key only.
std::vector<size_t> in_key_order(const SampleRows &rows, const std::vector<ResultCode> &codes) {
  const auto key = [&](size_t row) { return std::pair(rows.ids[row], rows.times[row]); };
  std::vector<size_t> order(rows.count);
  std::iota(order.begin(), order.end(), 0);
  std::erase_if(order, [&](size_t row) { return codes[row] != kOk; });
  const auto ascending = [&](size_t a, size_t b) { return key(a) < key(b); };
  const auto same = [&](size_t a, size_t b) { return key(a) == key(b); };
  if (!std::is_sorted(order.begin(), order.end(), ascending)) {
    std::stable_sort(order.begin(), order.end(), ascending);
  }
  // The last of each run of the same key: the first one seen from behind.
  order.erase(order.begin(), std::unique(order.rbegin(), order.rend(), same).base());
  return order;
}

std::vector<Parameter> columns(const SampleRows &rows, std::span<const size_t> part) {
  const auto column = [&]<typename Number>(Oid type, Oid element, Number, const auto &entries) {
    return number_array<Number>(type, element, part.size(),
                                [&](size_t i) { return entries[part[i]]; });
  };
  return {column(kInt4Array, kInt4, int32_t{}, rows.ids),
          column(kInt4Array, kInt4, int32_t{}, rows.times),
          column(kInt2Array, kInt2, int16_t{}, rows.statuses),
          column(kFloat8Array, kFloat8, double{}, rows.values)};
}

std::vector<int32_t> distinct_ids(const SampleRows &rows, std::span<const size_t> part) {
  std::vector<int32_t> ids;
  for (const size_t row : part) {
    if (ids.empty() || ids.back() != rows.ids[row]) ids.push_back(rows.ids[row]);
  }
  return ids;
}

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
          " LEFT JOIN object AS o ON o.full_name = n.name AND o.kind >= 32 ORDER BY n.position",
          {text_array(names)});
  std::vector<int32_t> ids;
  for (size_t i = 0; i < names.size(); ++i) {
    ids.push_back(number_at<int32_t>(found, static_cast<int>(i), 0));
  }
  return ids;
}

std::vector<bool> PostgresStore::known_points(std::span<const int32_t> ids) {
  const Result found =
      ask("SELECT o.id IS NOT NULL FROM unnest($1) WITH ORDINALITY AS i (id, position)"
          " LEFT JOIN object AS o ON o.id = i.id AND o.kind >= 32 ORDER BY i.position",
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
  const std::vector<Parameter> parameters = columns(rows, part);
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
  return to_readings(
      ask("SELECT o.id IS NOT NULL, c.time, c.status, c.value"
          " FROM unnest($1) WITH ORDINALITY AS i (id, position)"
          " LEFT JOIN object AS o ON o.id = i.id AND o.kind >= 32"
          " LEFT JOIN current_value AS c ON c.point_id = i.id ORDER BY i.position",
          {int4_array(ids)}));
}

std::vector<Reading> PostgresStore::as_of(std::span<const int32_t> ids, int32_t time) {
  return to_readings(
      ask("SELECT o.id IS NOT NULL, s.time, s.status, s.value"
          " FROM unnest($1) WITH ORDINALITY AS i (id, position)"
          " LEFT JOIN object AS o ON o.id = i.id AND o.kind >= 32"
          " LEFT JOIN LATERAL (SELECT time, status, value FROM sample"
          "   WHERE point_id = i.id AND time <= $2 ORDER BY time DESC LIMIT 1) AS s ON true"
          " ORDER BY i.position",
          {int4_array(ids), int4(time)}));
}

std::vector<RangeRow> PostgresStore::range(std::span<const int32_t> ids, int32_t resume,
                                           int32_t begin, int32_t end, size_t limit) {
  const Result found = ask(
      "SELECT CAST (i.position - 1 AS integer), s.time, s.status, s.value"
      " FROM unnest($1) WITH ORDINALITY AS i (id, position)"
      " CROSS JOIN LATERAL (SELECT time, status, value FROM sample"
      "   WHERE point_id = i.id AND time < $4"
      "   AND time >= CASE WHEN i.position = 1 THEN $2 ELSE $3 END"
      "   ORDER BY time LIMIT $5) AS s"
      " ORDER BY i.position, s.time LIMIT $5",
      {int4_array(ids), int4(resume), int4(begin), int4(end), int4(static_cast<int32_t>(limit))});
  std::vector<RangeRow> rows;
  for (int row = 0; row < PQntuples(found.get()); ++row) {
    rows.push_back({number_at<uint32_t>(found, row, 0), sample_at(found, row, 1)});
  }
  return rows;
}

}  // namespace kelp::postgres
