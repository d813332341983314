// The version is SQLite's own user_version, and its application_id distinguishes our files from
// others.
#include "sqlite/schema.h"

#include <cstring>
#include <string>

#include "sqlite/block.h"
#include "sqlite/upgrade.h"
#include "store/sql_store.h"

namespace kelp::sqlite {

namespace {

constexpr int64_t kApplicationId = 0x6b656c70;  // "kelp"
constexpr int64_t kSchemaVersion = 3;

// Each statement does nothing where an older version has made the same table. Names in braces stand
// for constants.
//
// `value` has no type: a column of type REAL would turn -0.0 into 0.0. NULL stands for NaN. SQLite
// keeps the comments inside a statement, so that they can be read in the store itself.
constexpr const char *kObjects = R"sql(
CREATE TABLE IF NOT EXISTS object (  -- databases, nodes and points; ids are never used again
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
CREATE INDEX IF NOT EXISTS object_parent ON object (parent_id);
)sql";
constexpr const char *kMerged = R"sql(
CREATE TABLE IF NOT EXISTS merged_sample (  -- what is not staged any more; see the view sample
  point_id INTEGER NOT NULL,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value,
  PRIMARY KEY (point_id, time)
) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS merged_value (  -- likewise; see the view current_value
  point_id INTEGER PRIMARY KEY,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value
);
)sql";
constexpr const char *kStaged = R"sql(
CREATE TABLE IF NOT EXISTS backlog (  -- what is staged of the {bucket_points} points from bucket * {bucket_points} on
  bucket      INTEGER PRIMARY KEY,
  first_block INTEGER NOT NULL,  -- the numbers of its blocks, from this one
  next_block  INTEGER NOT NULL,  -- to before this one; blocks with other numbers are left over
  samples     INTEGER NOT NULL,  -- in them
  first_time  INTEGER NOT NULL,  -- of these samples
  last_time   INTEGER NOT NULL,
  overlaps    INTEGER NOT NULL   -- 0 if no two of them have the same point and time
);
CREATE TABLE IF NOT EXISTS staged_block (  -- samples that one call wrote to the points of a bucket
  id         INTEGER PRIMARY KEY,  -- number * {buckets} + bucket; a later block has a larger number
  first_time INTEGER NOT NULL,
  last_time  INTEGER NOT NULL,
  realtime   INTEGER NOT NULL,  -- 1 if the samples are also the points' current values
  samples    TEXT NOT NULL,     -- [[point - bucket * {bucket_points}, value, status, time - first_time], ...]
  latest_before INTEGER NOT NULL DEFAULT 2147483647  -- no sample of an earlier block is later
);
CREATE TABLE IF NOT EXISTS deleted_point (  -- points that are gone, of which there may still be samples
  seq      INTEGER PRIMARY KEY AUTOINCREMENT,
  point_id INTEGER NOT NULL
);
)sql";

// Where a query asks for one point, SQLite finds its bucket by the last condition of staged_sample,
// and the window's sorting is left to the buckets that need it: the backlog is neither read nor
// sorted as a whole. (NOT IN would look for NULLs among all that is staged, for every row.) The
// JSON text -0 is an integer for SQLite, and would be 0.0.
constexpr const char *kViews = R"sql(
CREATE VIEW staged_sample AS  -- of the points that exist; also what was replaced by later ones
  WITH RECURSIVE place (n) AS (
    SELECT 0 UNION ALL
    SELECT n + 1 FROM place WHERE n + 1 < (SELECT max(next_block - first_block) FROM backlog))
  SELECT object.id AS point_id,
         CAST(block.first_time + coalesce(json_extract(entry.value, '$[3]'), 0) AS INTEGER) AS time,
         CAST(coalesce(json_extract(entry.value, '$[2]'), 0) AS INTEGER) AS status,
         CASE WHEN json_extract(entry.value, '$[1]') = 0 AND entry.value GLOB '[[]*,-0[],]*' THEN -0.0
              ELSE CAST(json_extract(entry.value, '$[1]') AS REAL) END AS value,
         backlog.first_block + place.n AS number, block.realtime, backlog.overlaps
    FROM backlog CROSS JOIN place CROSS JOIN staged_block AS block
         CROSS JOIN json_each(block.samples) AS entry CROSS JOIN object
   WHERE place.n < backlog.next_block - backlog.first_block
     AND block.id = (backlog.first_block + place.n) * {buckets} + backlog.bucket
     AND object.id = backlog.bucket * {bucket_points} + json_extract(entry.value, '$[0]')
     AND object.kind >= {first_point_kind}
     AND backlog.bucket = object.id / {bucket_points};
CREATE VIEW sample AS  -- all samples: of a point and a time the one that was written last
  SELECT merged.point_id, merged.time, merged.status, merged.value
    FROM object LEFT JOIN backlog ON backlog.bucket = object.id / {bucket_points}
         CROSS JOIN merged_sample AS merged ON merged.point_id = object.id
   WHERE object.kind >= {first_point_kind}
     AND (coalesce(backlog.next_block, 0) = 0
          OR merged.time NOT BETWEEN backlog.first_time AND backlog.last_time
          OR CASE WHEN (merged.point_id, merged.time) IN (SELECT point_id, time FROM staged_sample)
                  THEN 0 ELSE 1 END)
  UNION ALL
  SELECT point_id, time, status, value FROM staged_sample WHERE overlaps = 0
  UNION ALL
  SELECT point_id, time, status, value FROM (
    SELECT point_id, time, status, value,
           row_number() OVER (PARTITION BY point_id, time ORDER BY number DESC) AS age
      FROM staged_sample WHERE overlaps = 1)
   WHERE age = 1;
CREATE VIEW current_value AS  -- what the latest real-time call wrote to each point
  SELECT point_id, time, status, value FROM (
    SELECT point_id, time, status, value,
           row_number() OVER (PARTITION BY point_id ORDER BY number DESC) AS age
      FROM (
        SELECT point_id, time, status, value, number FROM staged_sample WHERE realtime = 1
        UNION ALL
        SELECT merged.point_id, merged.time, merged.status, merged.value, -1
          FROM object CROSS JOIN merged_value AS merged ON merged.point_id = object.id
         WHERE object.kind >= {first_point_kind}))
   WHERE age = 1;
)sql";

std::string with_constants(std::string sql) {
  const std::pair<const char *, int64_t> constants[] = {{"{bucket_points}", kBucketPoints},
                                                        {"{buckets}", kMostBuckets},
                                                        {"{first_point_kind}", kFirstPointKind}};
  for (const auto &[name, value] : constants) {
    for (size_t at = 0; (at = sql.find(name, at)) != sql.npos;) {
      sql.replace(at, std::strlen(name), std::to_string(value));
    }
  }
  return sql;
}

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
  const Upgrade upgrade = upgrade_from(database.number("PRAGMA user_version"));
  const bool empty = is_empty(database);
  database.execute(upgrade.before);
  for (const char *tables : {kObjects, kMerged, kStaged, kViews}) {
    database.execute(with_constants(tables));
  }
  database.execute(upgrade.after);
  if (empty) database.execute("INSERT INTO object " + kFirstDatabase);
  database.execute("PRAGMA application_id = " + std::to_string(kApplicationId));
  database.execute("PRAGMA user_version = " + std::to_string(kSchemaVersion));
}

}  // namespace kelp::sqlite
