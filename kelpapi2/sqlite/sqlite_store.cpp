// Samples are kept in key order. Snapshots, which touch every point at one time, would write all
// over that order; they are staged as they come and merged, sorted, by the first call that needs
// them there. Every write but a snapshot merges first, so that the later write of a key wins.
#include "sqlite/sqlite_store.h"

#include <ctime>

namespace kelp::sqlite {

namespace {

Sample sample_of(const Statement &row, int first_column) {
  return {static_cast<int32_t>(row.integer(first_column)),
          static_cast<int16_t>(row.integer(first_column + 1)), row.real(first_column + 2)};
}

SqlValue value_of(const Statement &row, int column) {
  switch (row.type(column)) {
    case SQLITE_INTEGER: return row.integer(column);
    case SQLITE_FLOAT: return row.real(column);
    case SQLITE_TEXT: return row.text(column);
    default: return std::monostate();
  }
}

// The first three parameters of a query on the samples of a point.
void bind_range(Statement &query, RangeStart point, int32_t end) {
  query.bind(1, int64_t{point.id});
  query.bind(2, int64_t{point.begin});
  query.bind(3, int64_t{end});
}

struct Binder {
  Statement &statement;
  int index;
  void operator()(std::monostate) const { statement.bind_null(index); }
  void operator()(int64_t value) const { statement.bind(index, value); }
  void operator()(double value) const { statement.bind(index, value); }
  void operator()(const std::string &value) const { statement.bind(index, value); }
};

}  // namespace

SqliteStore::SqliteStore(const std::string &path, int wait_seconds, bool lazy_commits)
    : file_(path, wait_seconds, lazy_commits),
      samples_("sample", kReplaceSample),
      staged_("staged_sample", ""),
      current_values_("current_value", kReplaceCurrentValue) {}

template <typename Work>
auto SqliteStore::read(Reads what, Work &&work) {
  if (what == Reads::samples && has_staged()) {
    write([&] { merge_staged(); });
  }
  file_.check_in_place();
  Transaction transaction(database(), Transaction::Kind::read);
  forget_known_points_of_others();
  return work();
}

template <typename Work>
auto SqliteStore::write(Work &&work) {
  file_.check_in_place();
  Transaction transaction(database(), Transaction::Kind::write);
  forget_known_points_of_others();
  const auto commit = [&] {
    transaction.commit();
    file_.check_in_place();
  };
  if constexpr (std::is_void_v<decltype(work())>) {
    work();
    commit();
  } else {
    auto result = work();
    commit();
    return result;
  }
}

bool SqliteStore::alive() {
  return file_.in_place() && database().number("SELECT count(*) FROM object WHERE id = 1") >= 0;
}

int32_t SqliteStore::now() {
  file_.check_in_place();
  return static_cast<int32_t>(std::time(nullptr));
}

std::vector<SqlRow> SqliteStore::run_one(const SqlCommand &command) {
  Statement &statement = database().statement(command.sql);
  for (size_t i = 0; i < command.parameters.size(); ++i) {
    const int index = statement.index_of(("$" + std::to_string(i + 1)).c_str());
    if (index > 0) std::visit(Binder{statement, index}, command.parameters[i]);
  }
  std::vector<SqlRow> rows;
  while (statement.step()) {
    SqlRow &row = rows.emplace_back();
    for (int column = 0; column < statement.columns(); ++column) {
      row.push_back(value_of(statement, column));
    }
  }
  return rows;
}

std::vector<std::vector<SqlRow>> SqliteStore::run(Access access,
                                                  const std::vector<SqlCommand> &commands) {
  const auto run_all = [&] {
    std::vector<std::vector<SqlRow>> results;
    for (const SqlCommand &command : commands) results.push_back(run_one(command));
    return results;
  };
  if (access == Access::read) return read(Reads::tree, run_all);
  known_.clear();
  return write([&] {
    merge_staged();
    return run_all();
  });
}

std::vector<int32_t> SqliteStore::point_ids(std::span<const std::string> names) {
  return read(Reads::tree, [&] {
    static const std::string select = "SELECT id FROM object WHERE full_name = ? AND " + kIsPoint;
    Statement &query = database().statement(select);
    std::vector<int32_t> ids;
    for (const std::string &name : names) {
      query.bind(1, name);
      ids.push_back(query.step() ? static_cast<int32_t>(query.integer(0)) : 0);
      query.reset();
    }
    return ids;
  });
}

bool SqliteStore::known(int32_t id) {
  if (known_.contains(id)) return true;
  static const std::string select = "SELECT 1 FROM object WHERE id = ? AND " + kIsPoint;
  Statement &query = database().statement(select);
  query.bind(1, int64_t{id});
  const bool found = query.step();
  query.reset();
  if (found) known_.insert(id);
  return found;
}

void SqliteStore::forget_known_points_of_others() {
  const int64_t version = database().number("PRAGMA data_version");
  if (version != data_version_) known_.clear();
  data_version_ = version;
}

std::vector<bool> SqliteStore::known_points(std::span<const int32_t> ids) {
  return read(Reads::tree, [&] {
    std::vector<bool> result;
    for (const int32_t id : ids) result.push_back(known(id));
    return result;
  });
}

bool SqliteStore::has_staged() {
  return database().number("SELECT EXISTS (SELECT 1 FROM staged_sample)") != 0;
}

void SqliteStore::merge_staged() {
  if (!has_staged()) return;
  static const std::string merge =
      std::string(
          "INSERT INTO sample SELECT point_id, time, status, value FROM staged_sample"
          " WHERE true ORDER BY point_id, time, seq") +
      kReplaceSample;
  database().statement(merge).run();
  database().statement("DELETE FROM staged_sample").run();
}

std::vector<ResultCode> SqliteStore::write(WriteKind kind, const SampleRows &rows) {
  return write([&] {
    std::vector<ResultCode> codes(rows.count, kOk);
    for (size_t row = 0; row < rows.count; ++row) {
      const bool repeated = row > 0 && rows.ids[row] == rows.ids[row - 1];
      codes[row] = repeated ? codes[row - 1] : known(rows.ids[row]) ? kOk : kUnknownName;
    }
    if (kind == WriteKind::snapshot) {
      staged_.write(database(), rows, codes);
    } else {
      merge_staged();
      samples_.write(database(), rows, codes);
    }
    if (kind == WriteKind::realtime) current_values_.write(database(), rows, codes);
    return codes;
  });
}

// Runs a query for one sample per point, whose first parameter is the point.
std::vector<Reading> SqliteStore::read_each(std::span<const int32_t> ids, Statement &query) {
  std::vector<Reading> readings;
  for (const int32_t id : ids) {
    query.bind(1, int64_t{id});
    if (query.step()) {
      readings.push_back({sample_of(query, 0), kOk});
    } else {
      readings.push_back({{}, known(id) ? kNoValue : kUnknownName});
    }
    query.reset();
  }
  return readings;
}

std::vector<Reading> SqliteStore::current(std::span<const int32_t> ids) {
  return read(Reads::tree, [&] {
    return read_each(ids, database().statement(
                              "SELECT time, status, value FROM current_value WHERE point_id = ?"));
  });
}

std::vector<Reading> SqliteStore::as_of(std::span<const int32_t> ids, int32_t time) {
  return read(Reads::samples, [&] {
    Statement &query = database().statement(
        "SELECT time, status, value FROM sample WHERE point_id = ? AND time <= ?"
        " ORDER BY time DESC LIMIT 1");
    query.bind(2, int64_t{time});
    return read_each(ids, query);
  });
}

std::vector<std::vector<Sample>> SqliteStore::range(std::span<const RangeStart> points, int32_t end,
                                                    size_t limit) {
  return read(Reads::samples, [&] {
    Statement &query = database().statement(
        "SELECT time, status, value FROM sample WHERE point_id = ? AND time >= ? AND time < ?"
        " ORDER BY time LIMIT ?");
    std::vector<std::vector<Sample>> rows(points.size());
    for (size_t i = 0; i < points.size(); ++i) {
      bind_range(query, points[i], end);
      query.bind(4, static_cast<int64_t>(limit));
      while (query.step()) rows[i].push_back(sample_of(query, 0));
      rows[i].shrink_to_fit();
    }
    return rows;
  });
}

int64_t SqliteStore::count(RangeStart point, int32_t end, int32_t step) {
  return read(Reads::samples, [&] {
    return step == 1 ? count_samples(point, end) : count_intervals(point, end, step);
  });
}

int64_t SqliteStore::count_samples(RangeStart point, int32_t end) {
  Statement &query = database().statement(
      "SELECT count(*) FROM sample WHERE point_id = ? AND time >= ? AND time < ?");
  bind_range(query, point, end);
  query.step();
  const int64_t samples = query.integer(0);
  query.reset();
  return samples;
}

// Times come in order here, so that no temporary table is needed as for count(DISTINCT ...).
int64_t SqliteStore::count_intervals(RangeStart point, int32_t end, int32_t step) {
  Statement &query = database().statement(
      "SELECT time FROM sample WHERE point_id = ? AND time >= ? AND time < ? ORDER BY time");
  bind_range(query, point, end);
  int64_t intervals = 0;
  int64_t next = point.begin;  // where the next interval begins
  while (query.step()) {
    const int64_t time = query.integer(0);
    if (time < next) continue;
    ++intervals;
    next = time - (time - point.begin) % step + step;
  }
  return intervals;
}

}  // namespace kelp::sqlite
