-- Optional: spreads the samples of a store over partitions by point, on the server that holds it.
-- Run once, by the owner of the tables, while no program writes:
--
--   psql -h HOST -p PORT -U USER -1 -v ON_ERROR_STOP=1 -v partitions=16 -f partition.sql
--
-- The library's statements need no change: the key of a sample begins with its point. distribute.sql
-- beside this file is for samples that one server cannot hold.

\if :{?partitions}
\else
  \set partitions 16
\endif

ALTER TABLE kelp.sample RENAME TO sample_whole;
ALTER INDEX kelp.sample_pkey RENAME TO sample_whole_pkey;

CREATE TABLE kelp.sample (LIKE kelp.sample_whole, PRIMARY KEY (point_id, time))
  PARTITION BY HASH (point_id);

SELECT format('CREATE TABLE kelp.sample_%s PARTITION OF kelp.sample'
              ' FOR VALUES WITH (MODULUS %s, REMAINDER %s)', part, :partitions, part)
FROM generate_series(0, :partitions - 1) AS part \gexec

INSERT INTO kelp.sample SELECT * FROM kelp.sample_whole;
DROP TABLE kelp.sample_whole;
