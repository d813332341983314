// The store in the schema kelp of a PostgreSQL database. Arrays travel whole, as binary parameters,
// or as many statements in one round trip, so that the number of round trips depends on the calls
// and not on what they carry.
//
// A server may be one of several that the samples are distributed over by point. So every statement
// on samples or current values names its point (point_id = $1) or is a plain insert; where a single
// server can do clearly better, it is asked in another way.
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
  std::vector<ResultCode> erase(const std::string &parent, std::span<const int32_t> ids) override;
  std::vector<ResultCode> write(WriteKind kind, const SampleRows &rows) override;
  std::vector<Reading> current(std::span<const int32_t> ids) override;
  std::vector<Reading> as_of(std::span<const int32_t> ids, int32_t time) override;
  std::unique_ptr<HistoryRows> history(const HistoryQuery &query) override;

 protected:
  std::vector<SqlResult> run(Access access, const std::vector<SqlCommand> &commands) override;
  std::vector<SqlCommand> removal(int64_t id) const override;
  std::string label() const override { return session_.server(); }

 private:
  // Runs the work, again if the server rolled it back for the sake of others.
  template <typename Work>
  auto retried(Work &&work);

  // The answer to a query.
  Result ask(const std::string &query, std::vector<Parameter> parameters = {});
  // Asks queries about single points, one for each of the ids. The results, and last that of a
  // query which of the points exist.
  std::vector<Result> ask_each(std::vector<Command> queries, std::span<const int32_t> ids);
  // The same for the samples that they find, one at most.
  std::vector<Reading> read_each(std::vector<Command> queries, std::span<const int32_t> ids);

  std::vector<SqlResult> run_all(Access access, const std::vector<SqlCommand> &commands);
  // Whether the database can hold a text.
  bool can_hold(const std::string &text);
  bool can_hold_all(const SqlCommand &command);

  bool inserts_plainly() const { return session_.engine().inserts_arrays && upserts_left_ == 0; }
  // Writes the rows at these positions in one transaction.
  void write_rows(WriteKind kind, const SampleRows &rows, std::span<const size_t> order);
  std::vector<Command> write_commands(WriteKind kind, const SampleRows &rows,
                                      std::span<const size_t> part) const;
  std::vector<bool> known_points(std::span<const int32_t> ids);
  // Sets the codes of those rows whose point does not exist.
  void mark_unknown(const SampleRows &rows, std::span<const size_t> order,
                    std::vector<ResultCode> &codes);

  Session session_;
  int upserts_left_ = 0;  // writes to make before a plain insert is tried again
};

}  // namespace kelp::postgres
