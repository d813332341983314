// The least that a run of kelptest over a SQLite file can cost: the same statements, settings and
// transactions as the library's engine, without the library. With `plain` the shape that a program
// would have that took no thought: one upsert per row, everything straight into the table of
// samples. To try settings: `rows=N` is the most rows of one statement, other NAME=VALUE arguments
// are pragmas, set when the file is opened.
#include <sqlite3.h>

#include <algorithm>
#include <map>
#include <type_traits>

#include "demo_run.h"

namespace {

using bench::Kind;
using bench::Rows;

constexpr const char *kSettings =
    "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA cache_size = -16384;"
    "PRAGMA wal_autocheckpoint = 4000; PRAGMA journal_size_limit = 67108864;";
constexpr const char *kSchema = R"sql(
BEGIN IMMEDIATE;
CREATE TABLE object (id INTEGER PRIMARY KEY AUTOINCREMENT, parent_id INTEGER, kind INTEGER NOT NULL,
  name TEXT NOT NULL, full_name TEXT NOT NULL UNIQUE, ed TEXT NOT NULL DEFAULT '',
  fq INTEGER NOT NULL DEFAULT 0, ar INTEGER NOT NULL DEFAULT 0, iv DEFAULT 0.0,
  hw INTEGER NOT NULL DEFAULT 0);
CREATE INDEX object_parent ON object (parent_id);
CREATE TABLE sample (point_id INTEGER NOT NULL, time INTEGER NOT NULL, status INTEGER NOT NULL,
  value, PRIMARY KEY (point_id, time)) WITHOUT ROWID;
CREATE TABLE staged_sample (seq INTEGER PRIMARY KEY, point_id INTEGER NOT NULL,
  time INTEGER NOT NULL, status INTEGER NOT NULL, value);
CREATE TABLE current_value (point_id INTEGER PRIMARY KEY, time INTEGER NOT NULL,
  status INTEGER NOT NULL, value);
INSERT INTO object (kind, name, full_name) VALUES (8, 'W3', 'W3');
COMMIT)sql";

#define OBJECTS "SELECT id, kind, name, ed, fq, ar, iv, hw FROM object "
#define UPSERT " ON CONFLICT (point_id, time) DO UPDATE SET status = excluded.status,"
#define UPSERT_CURRENT " ON CONFLICT (point_id) DO UPDATE SET time = excluded.time,"
#define VALUE " value = excluded.value"

class SqliteFloor {
 public:
  std::string path;
  std::string pragmas;
  bool plain = false;
  size_t most_rows = 64;

  void connect() {
    check(sqlite3_open(path.c_str(), &db_));
    const std::string sql = pragmas + kSettings + pragmas + kSchema;  // page_size must come first
    check(sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr));
  }
  void read_clock() {}
  template <typename... Values>
  int32_t query(const std::string &sql, const Values &...values) {
    sqlite3_stmt *prepared = statement(sql);
    bind_all(prepared, values...);
    return run(prepared);
  }

  std::vector<int32_t> point_ids(const std::vector<std::string> &names) {
    return look_up("SELECT id FROM object WHERE full_name = ? AND kind >= 32", names);
  }
  std::vector<int32_t> read_objects(const std::vector<int32_t> &ids) {
    return look_up(OBJECTS "WHERE id = ? AND kind >= 32", ids);
  }
  std::vector<int32_t> read_objects(const std::vector<std::string> &names) {
    return look_up(OBJECTS "WHERE full_name = ? AND kind >= 16", names);
  }
  void read_current(const std::vector<int32_t> &ids) {
    look_up("SELECT time, status, value FROM current_value WHERE point_id = ?", ids);
  }
  void read_range(const std::vector<int32_t> &ids, int32_t begin, int32_t end) {
    look_up(
        "SELECT time, status, value FROM sample WHERE point_id = ? AND time >= ? AND time < ?"
        " ORDER BY time",
        ids, begin, end);
  }
  void read_as_of(const std::vector<int32_t> &ids, int32_t time) {
    if (staged_) merge();
    look_up(
        "SELECT time, status, value FROM sample WHERE point_id = ? AND time <= ?"
        " ORDER BY time DESC LIMIT 1",
        ids, time);
  }
  void write(Kind kind, const Rows &rows) {
    const bool stage = kind == Kind::snapshot && !plain;
    query("BEGIN IMMEDIATE");
    insert(rows, stage ? "staged_sample" : "sample", stage ? "" : UPSERT VALUE);
    if (kind == Kind::realtime) {
      insert(rows, "current_value", UPSERT_CURRENT " status = excluded.status," VALUE);
    }
    query("COMMIT");
    staged_ = staged_ || stage;
  }

 private:
  void check(int result) {
    if (result == SQLITE_OK) return;
    std::fprintf(stderr, "floor_sqlite: %s: %s\n", path.c_str(), sqlite3_errmsg(db_));
    std::exit(1);
  }
  sqlite3_stmt *statement(std::string sql) {
    sqlite3_stmt *&prepared = statements_[sql];
    std::replace(sql.begin(), sql.end(), '$', '?');
    if (!prepared) check(sqlite3_prepare_v2(db_, sql.c_str(), -1, &prepared, nullptr));
    return prepared;
  }
  template <typename... Values>
  void bind_all([[maybe_unused]] sqlite3_stmt *prepared, const Values &...values) {
    int index = 0;
    (bind(prepared, ++index, values), ...);
  }
  template <typename T>
  void bind(sqlite3_stmt *prepared, int index, const T &value) {
    if constexpr (std::is_same_v<T, std::string>) {
      check(sqlite3_bind_text(prepared, index, value.data(), int(value.size()), SQLITE_TRANSIENT));
    } else if constexpr (std::is_same_v<T, double>) {
      check(sqlite3_bind_double(prepared, index, value));
    } else {
      check(sqlite3_bind_int64(prepared, index, value));
    }
  }
  // Reads every column of every row; returns the first column of the first one, or 0.
  int32_t run(sqlite3_stmt *prepared) {
    int32_t first = 0;
    int result;
    while ((result = sqlite3_step(prepared)) == SQLITE_ROW) {
      if (first == 0) first = sqlite3_column_int(prepared, 0);
      for (int i = sqlite3_column_count(prepared); i-- > 0;) {
        read_ += sqlite3_column_double(prepared, i);
      }
    }
    if (result != SQLITE_DONE) check(result);
    check(sqlite3_reset(prepared));
    return first;
  }
  // Runs one query per key in one transaction.
  template <typename Key, typename... Values>
  std::vector<int32_t> look_up(const std::string &sql, const std::vector<Key> &keys,
                               const Values &...values) {
    std::vector<int32_t> found;
    sqlite3_stmt *prepared = statement(sql);
    query("BEGIN");
    for (const Key &key : keys) {
      bind_all(prepared, key, values...);
      found.push_back(run(prepared));
    }
    query("COMMIT");
    return found;
  }
  // As many rows per statement as there are, by powers of 8.
  void insert(const Rows &rows, const std::string &table, const std::string &conflict) {
    size_t row = 0;
    for (size_t size = plain ? 1 : most_rows; size > 0; size /= 8) {
      std::string sql =
          "INSERT INTO " + table + " (point_id, time, status, value) VALUES (?,?,?,?)";
      for (size_t i = 1; i < size; ++i) sql += ", (?,?,?,?)";
      sqlite3_stmt *prepared = statement(sql + conflict);
      while (rows.size() - row >= size) {
        int index = 0;
        for (const size_t end = row + size; row < end; ++row) {
          bind(prepared, ++index, rows.ids[row]);
          bind(prepared, ++index, rows.times[row]);
          bind(prepared, ++index, 0);
          bind(prepared, ++index, rows.values[row]);
        }
        run(prepared);
      }
    }
  }
  void merge() {
    query("BEGIN IMMEDIATE");
    query(
        "INSERT INTO sample SELECT point_id, time, status, value FROM staged_sample WHERE true"
        " ORDER BY point_id, time, seq" UPSERT VALUE);
    query("DELETE FROM staged_sample");
    query("COMMIT");
    staged_ = false;
  }

  sqlite3 *db_ = nullptr;
  std::map<std::string, sqlite3_stmt *> statements_;
  bool staged_ = false;
  double read_ = 0;  // of all values read, so that none is left out
};

}  // namespace

// floor_sqlite FILE [-Nn] [-Xx] [plain] [rows=N] [PRAGMA=VALUE...]
int main(int argc, char **argv) {
  if (argc < 2) return 2;
  SqliteFloor floor;
  floor.path = argv[1];
  for (int i = 2; i < argc; ++i) {
    const std::string text = argv[i];
    if (text == "plain") floor.plain = true;
    if (text.starts_with("rows=")) {
      floor.most_rows = std::atoi(argv[i] + 5);
    } else if (text.find('=') != std::string::npos) {
      floor.pragmas += "PRAGMA " + text + ";";
    }
  }
  bench::run(floor, bench::make_tree(argc, argv));
  return 0;
}
