-- Optional: distributes the samples of a store by point over the servers of a Citus cluster.
-- Run once, by the owner of the tables, at the coordinator, while no program writes:
--
--   psql -h COORDINATOR -p PORT -U USER -v ON_ERROR_STOP=1 -v shards=8 -f distribute.sql
--
-- Programs connect to the coordinator too: a worker takes values and makes no objects.
--
-- It asks for the extension and for workers, which an administrator provides in the database of the
-- store: CREATE EXTENSION citus; SELECT citus_add_node('WORKER', PORT).
--
-- A call that touches many points goes to every shard: choose about as many shards as the workers
-- have cores, and a multiple of the workers. More make room for workers to come, and every snapshot
-- slower. Samples that are there already are moved along. The library finds out by itself that it
-- talks to such a cluster, and names the point in every statement on the tables distributed here.

\if :{?shards}
\else
  \set shards 8
\endif

-- Small, and joined to by name: every server has a copy.
SELECT create_reference_table('kelp.object');
SELECT create_reference_table('kelp.erased_point');
SELECT create_reference_table('kelp.schema_version');

SELECT create_distributed_table('kelp.sample', 'point_id', shard_count => :shards);
SELECT create_distributed_table('kelp.current_value', 'point_id', colocate_with => 'kelp.sample');
