// The version is SQLite's own user_version, and its application_id tells our files from others.
#include "sqlite/schema.h"

#include <string>

#include "store/sql_store.h"

namespace kelp::sqlite {

namespace {

constexpr int64_t kApplicationId = 0x6b656c70;  // "kelp"
constexpr int64_t kSchemaVersion = 2;

// `value` has no type: a column of type REAL would turn -0.0 into 0.0. NULL stands for NaN. SQLite
// keeps the comments inside a statement, so that they can be read in the store itself.
constexpr const char *kObjects = R"sql(
CREATE TABLE object (  -- databases, nodes and points; ids are never used again
  id        INTEGER PRIMARY KEY AUTOINCREMENT,
  parent_id INTEGER REFERENCES object (id),
  kind      INTEGER NOT NULL,  -- 8 database, 16 node, point: 32 AX, 33 DX, 34 I2, 35 I4, 36 R8
  name      TEXT NOT NULL,
  full_name TEXT NOT NULL UNIQUE,
  ed        TEXT NOT NULL DEFAULT '',
  fq        INTEGER NOT NULL DEFAULT 0,
  ar        INTEGER NOT NULL DEFAULT 0,
  iv        DEFAULT 0.0,
  hw        INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX object_parent ON object (parent_id);
)sql";
constexpr const char *kMerged = R"sql(
CREATE TABLE merged_sample (  -- what is not staged any more; see the view sample
  point_id INTEGER NOT NULL,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value,
  PRIMARY KEY (point_id, time)
) WITHOUT ROWID;
CREATE TABLE merged_value (  -- likewise; see the view current_value
  point_id INTEGER PRIMARY KEY,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value
);
)sql";
constexpr const char *kStaged = R"sql(
CREATE TABLE bucket (  -- of the 128 points from id * 128 on
  id         INTEGER PRIMARY KEY,
  blocks     INTEGER NOT NULL,  -- in use, from number 0 on; others are left over
  samples    INTEGER NOT NULL,  -- in them
  first_time INTEGER NOT NULL,  -- of these samples
  last_time  INTEGER NOT NULL
);
CREATE TABLE staged_block (  -- samples that one call wrote to the points of a bucket
  id         INTEGER PRIMARY KEY,  -- number * 2^24 + bucket; a later block has a larger number
  first_time INTEGER NOT NULL,
  last_time  INTEGER NOT NULL,
  realtime   INTEGER NOT NULL,  -- 1 if the samples are also the points' current values
  samples    TEXT NOT NULL      -- [[point - bucket * 128, value, status, time - first_time], ...]
);
CREATE TABLE erased_point (  -- points that are gone, of which there may still be samples
  seq      INTEGER PRIMARY KEY AUTOINCREMENT,
  point_id INTEGER NOT NULL
);
CREATE VIEW staged_sample AS
  SELECT bucket.id * 128 + json_extract(entry.value, '$[0]') AS point_id,
         block.first_time + coalesce(json_extract(entry.value, '$[3]'), 0) AS time,
         coalesce(json_extract(entry.value, '$[2]'), 0) AS status,
         json_extract(entry.value, '$[1]') + 0.0 AS value,
         block.id >> 24 AS number, realtime
    FROM staged_block AS block JOIN bucket ON bucket.id = block.id & 0xffffff,
         json_each(block.samples) AS entry
   WHERE block.id >> 24 < bucket.blocks;
CREATE VIEW sample AS  -- all samples: of a point and a time the one that was written last
  WITH staged AS MATERIALIZED (
    SELECT point_id, time, status, value, max(number) FROM staged_sample GROUP BY point_id, time)
  SELECT point_id, time, status, value FROM merged_sample
   WHERE (point_id, time) NOT IN (SELECT point_id, time FROM staged)
  UNION ALL SELECT point_id, time, status, value FROM staged;
CREATE VIEW current_value AS  -- what the latest real-time call wrote to each point
  WITH staged AS MATERIALIZED (
    SELECT point_id, time, status, value, max(number) FROM staged_sample WHERE realtime = 1
     GROUP BY point_id)
  SELECT point_id, time, status, value FROM merged_value
   WHERE point_id NOT IN (SELECT point_id FROM staged)
  UNION ALL SELECT point_id, time, status, value FROM staged;
)sql";

// What version 1 had merged stays where it is. What it had staged is merged afterwards, bit by bit;
// a program of that version which has the store open finds no table to write to.
constexpr const char *kFromVersion1 = R"sql(
ALTER TABLE sample RENAME TO merged_sample;
ALTER TABLE current_value RENAME TO merged_value;
ALTER TABLE staged_sample RENAME TO version_1_staged_sample;
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
  return version == kSchemaVersion;
}

void create_schema(Database &database) {
  if (is_empty(database)) {
    for (const char *tables : {kObjects, kMerged, kStaged}) database.execute(tables);
    database.execute("INSERT INTO object " + kFirstDatabase);
  } else {
    for (const char *change : {kFromVersion1, kStaged}) database.execute(change);
  }
  database.execute("PRAGMA application_id = " + std::to_string(kApplicationId));
  database.execute("PRAGMA user_version = " + std::to_string(kSchemaVersion));
}

}  // namespace kelp::sqlite
