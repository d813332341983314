// The store in a SQLite file.
#pragma once

#include <unordered_set>

#include "sqlite/sample_writer.h"
#include "sqlite/store_file.h"
#include "store/sql_store.h"

namespace kelp::sqlite {

class SqliteStore final : public SqlStore {
 public:
  SqliteStore(const std::string &path, int wait_seconds, bool lazy_commits);

  bool alive() override;
  int32_t now() override;
  std::vector<int32_t> point_ids(std::span<const std::string> names) override;
  std::vector<bool> known_points(std::span<const int32_t> ids) override;
  std::vector<ResultCode> write(WriteKind kind, const SampleRows &rows) override;
  std::vector<Reading> current(std::span<const int32_t> ids) override;
  std::vector<Reading> as_of(std::span<const int32_t> ids, int32_t time) override;
  std::vector<std::vector<Sample>> range(std::span<const RangeStart> points, int32_t end,
                                         size_t limit) override;
  int64_t count(RangeStart point, int32_t end, int32_t step) override;

 protected:
  std::vector<std::vector<SqlRow>> run(Access access,
                                       const std::vector<SqlCommand> &commands) override;

 private:
  // What a read looks at: staged snapshots are merged before samples are read.
  enum class Reads { tree, samples };
  // Run the work in a transaction, on a file that is in its place before and after, and with
  // nothing remembered that other programs have changed.
  template <typename Work>
  auto read(Reads what, Work &&work);
  template <typename Work>
  auto write(Work &&work);

  Database &database() { return file_.database(); }
  std::vector<SqlRow> run_one(const SqlCommand &command);
  // Whether a point exists, inside a transaction.
  bool known(int32_t id);
  void forget_known_points_of_others();
  bool has_staged();
  // Merges staged snapshots into the samples, inside a write transaction.
  void merge_staged();
  std::vector<Reading> read_each(std::span<const int32_t> ids, Statement &query);

  // Inside a transaction.
  int64_t count_samples(RangeStart point, int32_t end);
  int64_t count_intervals(RangeStart point, int32_t end, int32_t step);

  StoreFile file_;
  SampleWriter samples_;
  SampleWriter staged_;
  SampleWriter current_values_;
  std::unordered_set<int32_t> known_;  // points seen to exist since data_version_
  int64_t data_version_ = 0;
};

}  // namespace kelp::sqlite
