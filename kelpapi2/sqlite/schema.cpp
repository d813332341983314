// The version is SQLite's own user_version, and its application_id tells our files from others.
#include "sqlite/schema.h"

#include <string>

#include "store/sql_store.h"

namespace kelp::sqlite {

namespace {

constexpr int64_t kApplicationId = 0x6b656c70;  // "kelp"
constexpr int64_t kSchemaVersion = 1;

// `value` has no type: a column of type REAL would turn -0.0 into 0.0. NULL stands for NaN.
// Snapshots wait in `staged_sample`, in the order of their writing, until a call needs them merged
// into `sample`.
constexpr const char *kTables = R"sql(
CREATE TABLE object (
  id        INTEGER PRIMARY KEY AUTOINCREMENT,
  parent_id INTEGER REFERENCES object (id),
  kind      INTEGER NOT NULL,
  name      TEXT NOT NULL,
  full_name TEXT NOT NULL UNIQUE,
  ed        TEXT NOT NULL DEFAULT '',
  fq        INTEGER NOT NULL DEFAULT 0,
  ar        INTEGER NOT NULL DEFAULT 0,
  iv        DEFAULT 0.0,
  hw        INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX object_parent ON object (parent_id);
CREATE TABLE sample (
  point_id INTEGER NOT NULL,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value,
  PRIMARY KEY (point_id, time)
) WITHOUT ROWID;
CREATE TABLE staged_sample (
  seq      INTEGER PRIMARY KEY,
  point_id INTEGER NOT NULL,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value
);
CREATE TABLE current_value (
  point_id INTEGER PRIMARY KEY,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value
);
)sql";

bool is_empty(Database &database) {
  return database.number("SELECT count(*) FROM sqlite_master") == 0 &&
         database.number("PRAGMA application_id") == 0 &&
         database.number("PRAGMA user_version") == 0;
}

}  // namespace

bool has_schema(Database &database) {
  if (is_empty(database)) return false;
  if (database.number("PRAGMA application_id") != kApplicationId) {
    database.fail(kForeignStore, "not a kelp store");
  }
  const int64_t version = database.number("PRAGMA user_version");
  if (version > kSchemaVersion) {
    database.fail(kForeignStore, "made by a newer version (schema " + std::to_string(version) +
                                     ", this library knows " + std::to_string(kSchemaVersion) +
                                     ")");
  }
  return true;
}

void create_schema(Database &database) {
  database.execute(kTables);
  database.execute("INSERT INTO object " + kFirstDatabase);
  database.execute("PRAGMA application_id = " + std::to_string(kApplicationId));
  database.execute("PRAGMA user_version = " + std::to_string(kSchemaVersion));
}

}  // namespace kelp::sqlite
