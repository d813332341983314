// The store in the schema kelp of a PostgreSQL database. Arrays travel whole, as binary parameters,
// or as many statements in one round trip, so that the number of round trips depends on the calls
// and not on what they carry.
//
// A server may be one of several that the samples are distributed over by point. So every statement
// on samples or current values names its point (point_id = $1) or is a plain insert; where a single
// server can do clearly better, it is asked in another way.
#pragma once

#include "postgres/known_points.h"
#include "postgres/sample_writer.h"
#include "postgres/session.h"
#include "store/sql_store.h"

namespace kelp::postgres {

class PostgresStore final : public SqlStore {
 public:
  explicit PostgresStore(const StoreAddress &address);

  void check() override;
  int32_t now() override;
  std::vector<int32_t> point_ids(std::span<const std::string> names) override;
  std::vector<ResultCode> insert(const std::string &parent,
                                 std::span<ObjectRecord *const> records) override;
  std::vector<ResultCode> erase(const std::string &parent, std::span<const int32_t> ids) override;
  std::vector<ResultCode> write(WriteKind kind, const SampleRows &rows) override;
  std::vector<Reading> current(std::span<const int32_t> ids) override;
  std::vector<Reading> as_of(std::span<const int32_t> ids, int32_t time) override;
  std::unique_ptr<HistoryRows> history(const HistoryQuery &query) override;

 protected:
  std::vector<SqlResult> run(Access access, const std::vector<SqlCommand> &commands) override;
  const char *note_erased() const override;
  std::string label() const override { return session_.server(); }

 private:
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

  Session session_;
  KnownPoints points_{session_};
  SampleWriter writer_{session_, points_};
};

}  // namespace kelp::postgres
