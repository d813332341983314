-- A store as version 1.0.0 has left it: snapshots stand where they were staged, in the order of
-- their writing, and count more than the sample of their time.
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
INSERT INTO object (id, parent_id, kind, name, full_name) VALUES
  (1, NULL, 8, 'W3', 'W3'), (2, 1, 16, 'N', 'W3.N'),
  (3, 2, 32, 'P0', 'W3.N.P0'), (4, 2, 33, 'P1', 'W3.N.P1'), (5, 2, 34, 'P2', 'W3.N.P2');
INSERT INTO sample VALUES (3, 10, 1, 0.5), (3, 30, 3, 0.0), (4, 20, -2, NULL);
INSERT INTO current_value VALUES (4, 20, -2, NULL);
INSERT INTO staged_sample (point_id, time, status, value) VALUES
  (3, 30, 1, 7.5), (4, 30, 0, 1e999), (5, 30, 0, -1e999), (3, 30, 2, 8.5), (9, 30, 0, 1.0);
PRAGMA journal_mode = WAL;
PRAGMA application_id = 0x6b656c70;
PRAGMA user_version = 1;
