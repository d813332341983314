// The least that a run can cost over a SQLite file: the library's tables and settings, each call a
// transaction of the statements that it takes. Snapshots are put aside as they come, one row of
// bytes per call, and sorted into the table of samples by the first call that reads them there.
//
// Options, separated by commas: `plain` is what a naive program would do, one upsert for each row,
// everything straight into the table of samples; others are pragmas, NAME=VALUE, to try settings.
#include <algorithm>
#include <cstring>
#include <ctime>
#include <sstream>
#include <stdexcept>

#include "sqlite/database.h"
#include "sqlite/store_file.h"
#include "stand_in.h"

namespace {

using bench::Ids, bench::Names, bench::Objects, bench::Samples;
using kelp::sqlite::Statement;

// The library's tables.
#define SAMPLES "merged_sample"
#define CURRENT_VALUES "merged_value"

constexpr size_t kMostRows = 64;  // of one statement

struct Row {
  int32_t id;
  kelp::Sample sample;
};

int32_t integer(const Statement &row, int column) {
  return static_cast<int32_t>(row.integer(column));
}

kelp::ObjectRecord object_of(const Statement &row) {
  return {integer(row, 0), integer(row, 1), row.text(2), row.text(3),
          integer(row, 4), integer(row, 5), row.real(6), integer(row, 7)};
}

kelp::Sample sample_of(const Statement &row) {
  return {integer(row, 0), static_cast<int16_t>(row.integer(1)), row.real(2)};
}

template <typename Value>
void bind(Statement &statement, int index, const Value &value) {
  if constexpr (std::is_integral_v<Value>) {
    statement.bind(index, int64_t{value});
  } else {
    statement.bind(index, value);
  }
}

class SqliteFloor : public bench::Floor {
 public:
  SqliteFloor(const kelp::StoreAddress &address, const std::string &options)
      : file_(address.host.substr(std::strlen("file:")), address.wait_seconds, false) {
    std::istringstream texts(options);
    for (std::string text; std::getline(texts, text, ',');) {
      if (text == "plain") plain_ = true;
      if (text.find('=') != text.npos) db_.execute("PRAGMA " + text);
    }
    db_.execute("CREATE TABLE floor_snapshot (rows NOT NULL)");
  }

  int32_t now() override { return static_cast<int32_t>(std::time(nullptr)); }
  Objects databases() override {
    return look_up(object_of, bench::kSelectDatabases, Ids{&kelp::kDatabaseKind, 1});
  }
  Objects objects(Ids ids) override {
    return look_up(object_of, SELECT_OBJECTS "WHERE id = $1", ids);
  }
  Objects objects(Names names) override {
    return look_up(object_of, SELECT_OBJECTS "WHERE full_name = $1", names);
  }
  std::vector<int32_t> point_ids(Names names) override {
    return look_up([](const Statement &row) { return integer(row, 0); },
                   "SELECT id FROM object WHERE full_name = $1", names);
  }
  void insert(const std::string &parent, const kelp::ObjectRecord &o) override {
    run(bench::kInsertObject, parent, o.kind, o.name, parent + "." + o.name, o.ed, o.fq, o.ar, o.iv,
        o.hw);
  }
  void update(const std::string &parent, const kelp::ObjectRecord &o) override {
    run(bench::kUpdateObject, o.id, parent, o.ed, o.fq, o.ar, o.iv, o.hw);
  }

  Samples current(Ids ids) override {
    return look_up(sample_of,
                   "SELECT time, status, value FROM " CURRENT_VALUES " WHERE point_id = $1", ids);
  }
  Samples as_of(Ids ids, int32_t time) override {
    if (staged_) merge();
    return look_up(sample_of,
                   "SELECT time, status, value FROM " SAMPLES
                   " WHERE point_id = $1 AND time <= $2"
                   " ORDER BY time DESC LIMIT 1",
                   ids, time);
  }
  std::vector<Samples> ranges(Ids ids, int32_t begin, int32_t end) override {
    Statement &query = prepared("SELECT time, status, value FROM " SAMPLES
                                " WHERE point_id = $1 AND time >= $2 AND time < $3 ORDER BY time");
    std::vector<Samples> all;
    run("BEGIN");
    for (const int32_t id : ids) {
      bind_all(query, id, begin, end);
      Samples &samples = all.emplace_back();
      while (query.step()) samples.push_back(sample_of(query));
    }
    run("COMMIT");
    return all;
  }
  void write(kelp::WriteKind kind, const kelp::SampleRows &columns) override {
    std::vector<Row> rows;
    for (size_t i = 0; i < columns.count; ++i) {
      rows.push_back({columns.ids[i], {columns.times[i], columns.statuses[i], columns.values[i]}});
    }
    run("BEGIN IMMEDIATE");
    if (kind == kelp::WriteKind::snapshot && !plain_) {
      stage(rows);
    } else {
      insert_rows(SAMPLES, kelp::kReplaceSample, rows);
    }
    if (kind == kelp::WriteKind::realtime) {
      insert_rows(CURRENT_VALUES, kelp::kReplaceCurrentValue, rows);
    }
    run("COMMIT");
  }

 private:
  // SQLite numbers parameters by their place unless they are written ?N.
  Statement &prepared(std::string sql) {
    std::replace(sql.begin(), sql.end(), '$', '?');
    return db_.statement(sql);
  }
  template <typename... Values>
  void bind_all([[maybe_unused]] Statement &statement, const Values &...values) {
    int index = 0;
    (bind(statement, ++index, values), ...);
  }
  template <typename... Values>
  void run(const char *sql, const Values &...values) {
    Statement &statement = prepared(sql);
    bind_all(statement, values...);
    statement.run();
  }
  // What `read` makes of the first row that the query has for each key, all in one transaction.
  template <typename Read, typename Key, typename... Values>
  std::vector<std::invoke_result_t<Read, const Statement &>> look_up(Read read, const char *sql,
                                                                     std::span<const Key> keys,
                                                                     const Values &...values) {
    std::vector<std::invoke_result_t<Read, const Statement &>> found;
    Statement &query = prepared(sql);
    run("BEGIN");
    for (const Key &key : keys) {
      bind_all(query, key, values...);
      if (!query.step()) throw std::runtime_error("nothing there for " + std::string(sql));
      found.push_back(read(query));
      query.reset();
    }
    run("COMMIT");
    return found;
  }
  // As many rows per statement as there are, by powers of 8.
  void insert_rows(const std::string &table, const char *conflict, const std::vector<Row> &rows) {
    size_t next = 0;
    for (size_t size = plain_ ? 1 : kMostRows; size > 0; size /= 8) {
      std::string sql =
          "INSERT INTO " + table + " (point_id, time, status, value) VALUES (?,?,?,?)";
      for (size_t i = 1; i < size; ++i) sql += ", (?,?,?,?)";
      Statement &statement = db_.statement(sql + conflict);
      while (rows.size() - next >= size) {
        int index = 0;
        for (const size_t end = next + size; next < end; ++next) {
          const auto &[id, sample] = rows[next];
          bind(statement, ++index, id);
          bind(statement, ++index, sample.time);
          bind(statement, ++index, sample.status);
          bind(statement, ++index, sample.value);
        }
        statement.run();
      }
    }
  }
  void stage(const std::vector<Row> &rows) {
    const auto *bytes = reinterpret_cast<const char *>(rows.data());
    run("INSERT INTO floor_snapshot VALUES ($1)", std::string(bytes, rows.size() * sizeof(Row)));
    staged_ = true;
  }
  void merge() {
    std::vector<Row> rows;
    Statement &snapshots = db_.statement("SELECT rows FROM floor_snapshot ORDER BY rowid");
    while (snapshots.step()) {
      const std::string bytes = snapshots.text(0);
      const auto *first = reinterpret_cast<const Row *>(bytes.data());
      rows.insert(rows.end(), first, first + bytes.size() / sizeof(Row));
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row &a, const Row &b) {
      return std::pair(a.id, a.sample.time) < std::pair(b.id, b.sample.time);
    });
    run("BEGIN IMMEDIATE");
    insert_rows(SAMPLES, kelp::kReplaceSample, rows);
    run("DELETE FROM floor_snapshot");
    run("COMMIT");
    staged_ = false;
  }

  kelp::sqlite::StoreFile file_;
  kelp::sqlite::Database &db_ = file_.database();
  bool plain_ = false;
  bool staged_ = false;
};

}  // namespace

std::unique_ptr<bench::Floor> bench::open_floor(const kelp::StoreAddress &address,
                                                const std::string &options) {
  return std::make_unique<SqliteFloor>(address, options);
}
