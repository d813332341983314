#include "sqlite/upgrade.h"

namespace kelp::sqlite {

namespace {

constexpr Upgrade kFromVersion1 = {R"sql(
ALTER TABLE sample RENAME TO merged_sample;
ALTER TABLE current_value RENAME TO merged_value;
ALTER TABLE staged_sample RENAME TO version_1_staged_sample;
)sql",
                                   ""};

// Blocks that are there already may overlap, and nobody knows how late those before them are.
constexpr Upgrade kFromVersion2 = {R"sql(
DROP VIEW IF EXISTS sample;
DROP VIEW IF EXISTS current_value;
DROP VIEW IF EXISTS staged_sample;
ALTER TABLE staged_block ADD COLUMN latest_before INTEGER NOT NULL DEFAULT 2147483647;
)sql",
                                   R"sql(
INSERT INTO backlog (bucket, first_block, next_block, samples, first_time, last_time, overlaps)
  SELECT id, 0, blocks, samples, first_time, last_time, blocks > 1 FROM bucket;
DROP TABLE bucket;
INSERT INTO deleted_point (point_id) SELECT point_id FROM erased_point ORDER BY seq;
DROP TABLE erased_point;
)sql"};

}  // namespace

Upgrade upgrade_from(int64_t version) {
  if (version == 1) return kFromVersion1;
  return version == 2 ? kFromVersion2 : Upgrade{"", ""};
}

bool has_version_1_rows(Database &database) {
  return database.number(
             "SELECT count(*) FROM sqlite_master WHERE name = 'version_1_staged_sample'") > 0;
}

bool merge_version_1_rows(Database &database,
                          const std::function<void(const SampleRows &)> &write) {
  if (!has_version_1_rows(database)) return false;  // another program was faster
  std::vector<int32_t> ids, times;
  std::vector<int16_t> statuses;
  std::vector<double> values;
  int64_t last = 0;
  Statement &select = database.statement(
      "SELECT seq, point_id, time, status, value FROM version_1_staged_sample ORDER BY seq"
      " LIMIT 50000");
  while (select.step()) {
    last = select.integer(0);
    ids.push_back(static_cast<int32_t>(select.integer(1)));
    times.push_back(static_cast<int32_t>(select.integer(2)));
    statuses.push_back(static_cast<int16_t>(select.integer(3)));
    values.push_back(select.real(4));
  }
  if (ids.empty()) {
    database.execute("DROP TABLE version_1_staged_sample");
    return false;
  }
  write({ids.size(), Column<int32_t>::of(ids.data()), Column<int32_t>::of(times.data()),
         statuses.data(), values.data()});
  Statement &erase = database.statement("DELETE FROM version_1_staged_sample WHERE seq <= ?");
  erase.bind(1, last);
  erase.run();
  return true;
}

}  // namespace kelp::sqlite
