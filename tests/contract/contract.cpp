#include "contract.h"

#include "support/required.h"
#include "support/server.h"

namespace kelptest {

INSTANTIATE_TEST_SUITE_P(Engine, Contract, testing::Values("sqlite", "postgres"),
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
  static Server server;  // for all tests, with a database for each
  login_ = {server.host(), server.port(), server.new_database(), server.password()};
  return true;
}

}  // namespace kelptest
