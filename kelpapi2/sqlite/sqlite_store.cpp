// Here are the transactions and which points exist; samples.h has what becomes of their samples.
#include "sqlite/sqlite_store.h"

#include <ctime>

#include "sqlite/deleted_points.h"
#include "sqlite/upgrade.h"

namespace kelp::sqlite {

namespace {

SqlValue value_of(const Statement &row, int column) {
  switch (row.type(column)) {
    case SQLITE_INTEGER: return row.integer(column);
    case SQLITE_FLOAT: return row.real(column);
    case SQLITE_TEXT: return row.text(column);
    default: return std::monostate();
  }
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
    : SqlStore("object"), file_(path, wait_seconds, lazy_commits), samples_(file_.database()) {
  adopt_version_1_rows();
}

template <typename Work>
auto SqliteStore::read(Work &&work) {
  file_.check();
  Transaction transaction(database(), Transaction::Kind::read);
  forget_deleted_points();
  return work();
}

template <typename Work>
auto SqliteStore::write(Work &&work) {
  file_.check();
  auto result = [&] {
    Transaction transaction(database(), Transaction::Kind::write);
    forget_deleted_points();
    auto done = work();
    file_.commit(transaction);
    return done;
  }();
  file_.check();
  return result;
}

void SqliteStore::check() {
  file_.check();
  database().number("SELECT count(*) FROM object WHERE id = 1");
}

int32_t SqliteStore::now() {
  file_.check();
  return static_cast<int32_t>(std::time(nullptr));
}

SqlResult SqliteStore::run_one(const SqlCommand &command) {
  Statement &statement = database().statement(command.sql);
  for (size_t i = 0; i < command.parameters.size(); ++i) {
    const int index = statement.index_of(("$" + std::to_string(i + 1)).c_str());
    if (index > 0) std::visit(Binder{statement, index}, command.parameters[i]);
  }
  SqlResult result;
  while (statement.step()) {
    SqlRow &row = result.rows.emplace_back();
    for (int column = 0; column < statement.columns(); ++column) {
      row.push_back(value_of(statement, column));
    }
  }
  return result;
}

const char *SqliteStore::note_erased() const { return kNoteDeletedPoint; }

std::vector<SqlResult> SqliteStore::run(Access access, const std::vector<SqlCommand> &commands) {
  const auto run_all = [&] {
    std::vector<SqlResult> results;
    for (const SqlCommand &command : commands) results.push_back(run_one(command));
    return results;
  };
  return access == Access::read ? read(run_all) : write(run_all);
}

std::vector<int32_t> SqliteStore::point_ids(std::span<const std::string> names) {
  return read([&] {
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

void SqliteStore::forget_deleted_points() {
  const int64_t deletions = count_deleted_points(database());
  if (deletions != deletions_) known_.clear();
  deletions_ = deletions;
}

std::vector<ResultCode> SqliteStore::codes_of(const SampleRows &rows) {
  std::vector<ResultCode> codes(rows.count, kOk);
  for (size_t row = 0; row < rows.count; ++row) {
    const bool repeated = row > 0 && rows.ids[row] == rows.ids[row - 1];
    if (repeated) {
      codes[row] = codes[row - 1];
    } else if (!known(rows.ids[row])) {
      codes[row] = kUnknownName;
    }
  }
  return codes;
}

std::vector<ResultCode> SqliteStore::write(WriteKind kind, const SampleRows &rows) {
  return write([&] {
    const std::vector<ResultCode> codes = codes_of(rows);
    samples_.write(kind, rows, codes);
    erase_some(database(), samples_);
    return codes;
  });
}

// The points, with 0, which is no point, instead of those that do not exist.
std::vector<int32_t> SqliteStore::existing(std::span<const int32_t> ids) {
  std::vector<int32_t> points(ids.begin(), ids.end());
  for (int32_t &id : points) id = known(id) ? id : 0;
  return points;
}

template <typename Look>
std::vector<Reading> SqliteStore::read_each(std::span<const int32_t> ids, Look &&look) {
  return read([&] {
    const std::vector<int32_t> points = existing(ids);
    const std::vector<std::optional<Sample>> samples = look(points);
    std::vector<Reading> readings;
    for (size_t i = 0; i < points.size(); ++i) {
      ResultCode error = kOk;
      if (!samples[i]) error = kNoValue;
      if (points[i] == 0) error = kUnknownName;
      readings.push_back({samples[i].value_or(Sample()), error});
    }
    return readings;
  });
}

std::vector<Reading> SqliteStore::current(std::span<const int32_t> ids) {
  return read_each(ids, [&](const auto &points) { return samples_.current(points); });
}

std::vector<Reading> SqliteStore::as_of(std::span<const int32_t> ids, int32_t time) {
  return read_each(ids, [&](const auto &points) { return samples_.as_of(points, time); });
}

std::unique_ptr<HistoryRows> SqliteStore::history(const HistoryQuery &query) {
  auto rows = std::make_unique<HistoryRows>(query);
  read([&] { samples_.history(existing(query.ids), query.intervals, *rows); });
  rows->finish();
  return rows;
}

std::vector<ResultCode> SqliteStore::erase(const std::string &parent,
                                           std::span<const int32_t> ids) {
  const auto codes = SqlStore::erase(parent, ids);
  erase_more(database(), samples_);
  return codes;
}

void SqliteStore::adopt_version_1_rows() {
  if (!has_version_1_rows(database())) return;
  const auto write_rows = [&](const SampleRows &rows) {
    samples_.write(WriteKind::snapshot, rows, codes_of(rows));
  };
  while (write([&] { return merge_version_1_rows(database(), write_rows); })) {
  }
}

}  // namespace kelp::sqlite
