// The store in the schema kelp of a PostgreSQL database. Arrays travel whole, as binary parameters,
// so that the number of round trips depends on the calls and not on what they carry.
#pragma once

#include "postgres/session.h"
#include "store/sql_store.h"

namespace kelp::postgres {

class PostgresStore final : public SqlStore {
 public:
  explicit PostgresStore(const StoreAddress &address);

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
  // Runs the work, again if the server rolled it back for the sake of others.
  template <typename Work>
  auto retried(Work &&work);
  // The same in a transaction, which the first exchange of the work begins.
  template <typename Work>
  auto transaction(Work &&work);

  // The answer to a query.
  Result ask(const std::string &query, std::vector<Parameter> parameters = {});
  // Writes the rows at these positions, inside a transaction.
  void write_part(WriteKind kind, const SampleRows &rows, std::span<const size_t> part);
  // Sets the codes of those rows whose point does not exist.
  void mark_unknown(const SampleRows &rows, std::span<const size_t> order,
                    std::vector<ResultCode> &codes);

  Session session_;
};

}  // namespace kelp::postgres
