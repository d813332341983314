-- A store as version 1.1.0 has left it, not merged and with a deletion that is not finished: P3, of id
-- 6, is gone, and its samples are there. P0 was written twice at 200, and at 50 once more than merged.
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
INSERT INTO object VALUES(1,NULL,8,'W3','W3','',0,0,0.0,0);
INSERT INTO object VALUES(2,1,16,'N','W3.N','',0,0,0.0,0);
INSERT INTO object VALUES(3,2,32,'P0','W3.N.P0','',0,0,0.0,0);
INSERT INTO object VALUES(4,2,32,'P1','W3.N.P1','',0,0,0.0,0);
INSERT INTO object VALUES(5,2,32,'P2','W3.N.P2','',0,0,0.0,0);
CREATE TABLE merged_sample (  -- what is not staged any more; see the view sample
  point_id INTEGER NOT NULL,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value,
  PRIMARY KEY (point_id, time)
) WITHOUT ROWID;
INSERT INTO merged_sample VALUES(3,40,0,4.5);
INSERT INTO merged_sample VALUES(3,50,0,5.5);
INSERT INTO merged_sample VALUES(3,60,0,6.5);
CREATE TABLE merged_value (  -- likewise; see the view current_value
  point_id INTEGER PRIMARY KEY,
  time     INTEGER NOT NULL,
  status   INTEGER NOT NULL,
  value
);
CREATE TABLE bucket (  -- of the 128 points from id * 128 on
  id         INTEGER PRIMARY KEY,
  blocks     INTEGER NOT NULL,  -- in use, from number 0 on; others are left over
  samples    INTEGER NOT NULL,  -- in them
  first_time INTEGER NOT NULL,  -- of these samples
  last_time  INTEGER NOT NULL
);
INSERT INTO bucket VALUES(0,4,9,50,200);
CREATE TABLE staged_block (  -- samples that one call wrote to the points of a bucket
  id         INTEGER PRIMARY KEY,  -- number * 2^24 + bucket; a later block has a larger number
  first_time INTEGER NOT NULL,
  last_time  INTEGER NOT NULL,
  realtime   INTEGER NOT NULL,  -- 1 if the samples are also the points' current values
  samples    TEXT NOT NULL      -- [[point - bucket * 128, value, status, time - first_time], ...]
);
INSERT INTO staged_block VALUES(0,200,200,1,'[[3,-0],[4,null,1],[5,9e999,-2],[6,1.5]]');
INSERT INTO staged_block VALUES(16777216,50,50,0,'[[3,7.5],[4,-9e999],[5,0]]');
INSERT INTO staged_block VALUES(33554432,200,200,0,'[[3,-0]]');
INSERT INTO staged_block VALUES(50331648,50,50,0,'[[4,-0]]');
CREATE TABLE erased_point (  -- points that are gone, of which there may still be samples
  seq      INTEGER PRIMARY KEY AUTOINCREMENT,
  point_id INTEGER NOT NULL
);
DELETE FROM sqlite_sequence;
INSERT INTO sqlite_sequence VALUES('object',6);
INSERT INTO sqlite_sequence VALUES('erased_point',1);
INSERT INTO erased_point VALUES(1,6);
INSERT INTO merged_sample VALUES(6,40,0,4.5);
CREATE INDEX object_parent ON object (parent_id);
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
PRAGMA journal_mode = WAL;
PRAGMA application_id = 0x6b656c70;
PRAGMA user_version = 2;
