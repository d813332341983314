#include "contract.h"

#include <sstream>

#include "support/required.h"
#include "support/server.h"

namespace kelptest {

INSTANTIATE_TEST_SUITE_P(Engine, Contract, testing::Values("sqlite", "postgres", "distributed"),
                         [](const auto &engine) { return engine.param; });

namespace {

// A row for each of many points, all of them the same one.
using WritePoints = Codes (Connection::*)(const Ids &, const Rows &) const;
auto to_one_point(WritePoints write) {
  return [write](const Connection &connection, int32_t id, const Rows &rows) {
    return first_failure((connection.*write)(Ids(rows.size(), id), rows));
  };
}

}  // namespace

const std::vector<Way> kWays = {
    {"history", &Connection::write_history},
    {"cache of one point", &Connection::write_cache_one},
    {"cache", to_one_point(&Connection::write_cache)},
    {"snapshots", to_one_point(&Connection::write_snap)},
    {"current values", to_one_point(&Connection::write_value)},
};

void Contract::SetUp() {
  REQUIRE_OR_SKIP(make_store(), GetParam() << " is not installed");
  connection_ = Connection(login_);
  ASSERT_TRUE(connection_.open());
}

bool Contract::make_store() {
  if (GetParam() == "sqlite") {
    login_ = {"file:" + folder_.path("store")};
    return true;
  }
  if (!Server::available()) return false;
  login_ = {server().host(), server().port(), server().new_database(), server().password()};
  if (GetParam() == "distributed") distribute();
  return true;
}

// For all tests, with a database for each.
Server &Contract::server() {
  static Server server;
  return server;
}

// What tells a session that the tables may be distributed is a catalog of that engine.
void Contract::distribute() {
  server().sql(
      "SET allow_system_table_mods TO on;"
      "CREATE TABLE pg_catalog.pg_dist_partition (logicalrelid regclass)",
      login_.name);
  server().sql("ALTER ROLE " + login_.name + " SET log_statement TO 'all'");
  server().sql("ALTER ROLE " + login_.name + " SET log_parameter_max_length TO 0");
  log_begin_ = server().log().size();
}

// A statement on a table that is distributed by point names its point, or is a plain insert.
void Contract::TearDown() {
  if (GetParam() != "distributed" || IsSkipped()) return;
  const auto has = [](const std::string &line, const char *part) {
    return line.find(part) != std::string::npos;
  };
  const std::string statements = server().log().substr(log_begin_);
  EXPECT_TRUE(has(statements, "LOG:  execute "));
  std::istringstream log(statements);
  for (std::string line; std::getline(log, line);) {
    const bool touches = has(line, " kelp.sample ") || has(line, " kelp.current_value ");
    if (!has(line, "LOG:  execute ") || !touches || has(line, "CREATE ")) continue;
    const bool names_its_point = has(line, " WHERE point_id = $1") && !has(line, " JOIN ");
    EXPECT_TRUE(names_its_point || has(line, ": INSERT INTO kelp.")) << line;
    EXPECT_FALSE(has(line, "LATERAL") || has(line, "ORDINALITY")) << line;
  }
}

}  // namespace kelptest
