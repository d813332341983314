// The least that a run can cost over a PostgreSQL server with a plain schema: the library's tables,
// each call one round trip and one transaction, arrays as binary parameters of prepared statements.
// Samples are plain inserts: in a run over an empty store no two have the same key. Histories are
// one statement per point, many in a round trip.
#include <libpq-fe.h>

#include <stdexcept>
#include <unordered_map>

#include "postgres/binary.h"
#include "postgres/schema.h"
#include "postgres/session.h"
#include "stand_in.h"

namespace {

using bench::Ids, bench::Names, bench::Objects, bench::Samples;
using namespace kelp::postgres;

using Parameters = std::vector<Parameter>;

#define EACH_KEY " JOIN unnest($1) WITH ORDINALITY AS i (key, position) ON "
#define IN_ORDER " ORDER BY i.position"
#define INSERT_INTO(table) "INSERT INTO " table " SELECT * FROM unnest($1, $2, $3, $4)"

constexpr const char *kInsertSamples = INSERT_INTO("sample");
// The continuous writer may come back to the second of the first current values.
const std::string kSetCurrentValues = std::string("WITH samples AS (" INSERT_INTO("sample")) +
                                      kelp::kReplaceSample + ") " INSERT_INTO("current_value") +
                                      kelp::kReplaceCurrentValue;
constexpr const char *kRange =
    "SELECT time, status, value FROM sample"
    " WHERE point_id = $1 AND time >= $2 AND time < $3 ORDER BY time";
constexpr const char *kAsOf =
    "SELECT s.* FROM unnest($1) WITH ORDINALITY AS i (key, position) CROSS JOIN LATERAL"
    " (SELECT time, status, value FROM sample WHERE point_id = key AND time <= $2"
    " ORDER BY time DESC LIMIT 1) AS s" IN_ORDER;

Parameter text_parameter(const std::string &value) { return {value, kText, true}; }
Parameter real_parameter(double value) {
  Parameter parameter{{}, kFloat8, true};
  append_big_endian(parameter.bytes, value);
  return parameter;
}

std::string text_at(const Result &result, int row, int column) {
  return {PQgetvalue(result.get(), row, column),
          static_cast<size_t>(PQgetlength(result.get(), row, column))};
}

Objects objects_of(const Result &result) {
  Objects objects;
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    const auto integer = [&](int column) { return number_at<int32_t>(result, row, column); };
    objects.push_back({integer(0), integer(1), text_at(result, row, 2), text_at(result, row, 3),
                       integer(4), integer(5), number_at<double>(result, row, 6), integer(7)});
  }
  return objects;
}

Samples samples_of(const Result &result) {
  Samples samples;
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    samples.push_back({number_at<int32_t>(result, row, 0), number_at<int16_t>(result, row, 1),
                       number_at<double>(result, row, 2)});
  }
  return samples;
}

class PostgresFloor : public bench::Floor {
 public:
  explicit PostgresFloor(const kelp::StoreAddress &address) {
    Session session(address);
    prepare_schema(session);
    connection_ = PQsetdbLogin(address.host.c_str(), std::to_string(address.port).c_str(),
                               "-c search_path=kelp", nullptr, nullptr, address.user.c_str(),
                               address.password.c_str());
    require(PQstatus(connection_) == CONNECTION_OK);
  }
  ~PostgresFloor() override { PQfinish(connection_); }

  int32_t now() override {
    const Result result = ask("SELECT CAST (extract(epoch FROM clock_timestamp()) AS int4)", {});
    return number_at<int32_t>(result, 0, 0);
  }
  Objects databases() override {
    return objects_of(ask(bench::kSelectDatabases, {int4(kelp::kDatabaseKind)}));
  }
  Objects objects(Ids ids) override {
    return objects_of(ask(SELECT_OBJECTS EACH_KEY "id = key" IN_ORDER, {int4_array(ids)}));
  }
  Objects objects(Names names) override {
    return objects_of(ask(SELECT_OBJECTS EACH_KEY "full_name = key" IN_ORDER, {text_array(names)}));
  }
  std::vector<int32_t> point_ids(Names names) override {
    const Result result =
        ask("SELECT id FROM object" EACH_KEY "full_name = key" IN_ORDER, {text_array(names)});
    std::vector<int32_t> ids;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
      ids.push_back(number_at<int32_t>(result, row, 0));
    }
    return ids;
  }
  void insert(const std::string &parent, const kelp::ObjectRecord &o) override {
    ask(bench::kInsertObject, {text_parameter(parent), int4(o.kind), text_parameter(o.name),
                               text_parameter(parent + "." + o.name), text_parameter(o.ed),
                               int4(o.fq), int4(o.ar), real_parameter(o.iv), int4(o.hw)});
  }
  void update(const std::string &parent, const kelp::ObjectRecord &o) override {
    ask(bench::kUpdateObject, {int4(o.id), text_parameter(parent), text_parameter(o.ed), int4(o.fq),
                               int4(o.ar), real_parameter(o.iv), int4(o.hw)});
  }

  void write(kelp::WriteKind kind, const kelp::SampleRows &rows) override {
    const bool current = kind == kelp::WriteKind::realtime;
    const auto id = [&](size_t i) { return rows.ids[i]; };
    const auto time = [&](size_t i) { return rows.times[i]; };
    const auto status = [&](size_t i) { return rows.statuses[i]; };
    const auto value = [&](size_t i) { return rows.values[i]; };
    ask(current ? kSetCurrentValues : kInsertSamples,
        {number_array<int32_t>(kInt4Array, kInt4, rows.count, id),
         number_array<int32_t>(kInt4Array, kInt4, rows.count, time),
         number_array<int16_t>(kInt2Array, kInt2, rows.count, status),
         number_array<double>(kFloat8Array, kFloat8, rows.count, value)});
  }
  Samples current(Ids ids) override {
    return samples_of(ask("SELECT time, status, value FROM current_value" EACH_KEY
                          "point_id = key" IN_ORDER,
                          {int4_array(ids)}));
  }
  Samples as_of(Ids ids, int32_t time) override {
    return samples_of(ask(kAsOf, {int4_array(ids), int4(time)}));
  }
  std::vector<Samples> ranges(Ids ids, int32_t begin, int32_t end) override {
    const std::string name = prepared(kRange, {int4(0), int4(0), int4(0)});
    PQenterPipelineMode(connection_);
    for (const int32_t id : ids) {
      execute(PQsendQueryPrepared, name, {int4(id), int4(begin), int4(end)});
    }
    require(PQpipelineSync(connection_) == 1);
    std::vector<Samples> all;
    for (size_t i = 0; i < ids.size(); ++i) {
      all.push_back(samples_of(checked(PQgetResult(connection_))));
      PQclear(PQgetResult(connection_));  // the null after each
    }
    PQclear(PQgetResult(connection_));  // of the sync
    PQexitPipelineMode(connection_);
    return all;
  }

 private:
  void require(bool condition) const {
    if (!condition) throw std::runtime_error(PQerrorMessage(connection_));
  }
  Result checked(PGresult *result) const {
    const ExecStatusType status = PQresultStatus(result);
    require(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK);
    return Result(result);
  }
  // The name of the statement.
  const std::string &prepared(const std::string &sql, const Parameters &parameters) {
    const auto [statement, added] = names_.try_emplace(sql, std::to_string(names_.size()));
    if (added) {
      std::vector<Oid> types;
      for (const Parameter &parameter : parameters) types.push_back(parameter.type);
      checked(PQprepare(connection_, statement->second.c_str(), sql.c_str(),
                        static_cast<int>(types.size()), types.data()));
    }
    return statement->second;
  }
  // Calls PQexecPrepared or PQsendQueryPrepared.
  template <typename Outcome, typename... Arguments>
  Outcome execute(Outcome (*function)(Arguments...), const std::string &name,
                  const Parameters &parameters) {
    std::vector<const char *> bytes;
    std::vector<int> lengths;
    for (const Parameter &parameter : parameters) {
      bytes.push_back(parameter.bytes.data());
      lengths.push_back(static_cast<int>(parameter.bytes.size()));
    }
    const std::vector<int> binary(bytes.size(), 1);
    return function(connection_, name.c_str(), static_cast<int>(bytes.size()), bytes.data(),
                    lengths.data(), binary.data(), 1);
  }
  Result ask(const std::string &sql, const Parameters &parameters) {
    return checked(execute(PQexecPrepared, prepared(sql, parameters), parameters));
  }

  PGconn *connection_;
  std::unordered_map<std::string, std::string> names_;  // of prepared statements, by text
};

}  // namespace

std::unique_ptr<bench::Floor> bench::open_floor(const kelp::StoreAddress &address,
                                                const std::string & /*options*/) {
  return std::make_unique<PostgresFloor>(address);
}
