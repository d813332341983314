-- Optional: spreads the samples of a store over 16 partitions by point, on the server that holds it.
-- Run once, by the owner of the tables, while no program writes:
--
--   psql -h HOST -p PORT -U USER -1 -v ON_ERROR_STOP=1 -f partition.sql
--
-- The library's statements need no change: the key of a sample begins with its point, which every
-- statement names. On engines that distribute tables over hosts the same key serves; with Citus,
-- say, in place of what follows:
--
--   SELECT create_reference_table('kelp.object');
--   SELECT create_distributed_table('kelp.sample', 'point_id');
--   SELECT create_distributed_table('kelp.current_value', 'point_id');

ALTER TABLE kelp.sample RENAME TO sample_whole;
ALTER INDEX kelp.sample_pkey RENAME TO sample_whole_pkey;

CREATE TABLE kelp.sample (LIKE kelp.sample_whole, PRIMARY KEY (point_id, time))
  PARTITION BY HASH (point_id);

DO $$
BEGIN
  FOR part IN 0..15 LOOP
    EXECUTE format('CREATE TABLE kelp.sample_%s PARTITION OF kelp.sample'
                   ' FOR VALUES WITH (MODULUS 16, REMAINDER %s)', part, part);
  END LOOP;
END
$$;

INSERT INTO kelp.sample SELECT * FROM kelp.sample_whole;
DROP TABLE kelp.sample_whole;
