// The store in a SQLite file.
#pragma once

#include <unordered_set>

#include "sqlite/samples.h"
#include "sqlite/store_file.h"
#include "store/sql_store.h"

namespace kelp::sqlite {

class SqliteStore final : public SqlStore {
 public:
  SqliteStore(const std::string &path, int wait_seconds, bool lazy_commits);

  void check() override;
  int32_t now() override;
  std::vector<int32_t> point_ids(std::span<const std::string> names) override;
  std::vector<ResultCode> write(WriteKind kind, const SampleRows &rows) override;
  std::vector<Reading> current(std::span<const int32_t> ids) override;
  std::vector<Reading> as_of(std::span<const int32_t> ids, int32_t time) override;
  std::unique_ptr<HistoryRows> history(const HistoryQuery &query) override;
  std::vector<ResultCode> erase(const std::string &parent, std::span<const int32_t> ids) override;

 protected:
  std::vector<SqlResult> run(Access access, const std::vector<SqlCommand> &commands) override;
  const char *note_erased() const override;
  std::string label() const override { return "store " + file_.path(); }

 private:
  // Run the work in a transaction, on a file that is in its place before and after, and with
  // nothing remembered that other programs have changed.
  template <typename Work>
  auto read(Work &&work);
  template <typename Work>
  auto write(Work &&work);

  Database &database() { return file_.database(); }
  SqlResult run_one(const SqlCommand &command);
  // Whether a point exists, inside a transaction.
  bool known(int32_t id);
  void forget_deleted_points();
  std::vector<ResultCode> codes_of(const SampleRows &rows);
  std::vector<int32_t> existing(std::span<const int32_t> ids);
  template <typename Look>
  std::vector<Reading> read_each(std::span<const int32_t> ids, Look &&look);
  void adopt_version_1_rows();

  StoreFile file_;
  Samples samples_;
  std::unordered_set<int32_t> known_;  // points seen to exist since deletions_
  int64_t deletions_ = 0;
};

}  // namespace kelp::sqlite
