// A real cluster of three servers that a store is distributed over, where the extension for it is
// installed. Debian does not have it, so this is skipped elsewhere, also where all else has to run.
#include "fixture.h"

namespace kelptest {

class Distributed : public ServerTest {
 protected:
  void SetUp() override {
    REQUIRE_OR_SKIP(Server::available(), "PostgreSQL is not installed");
    if (!Server::has_extension("citus")) GTEST_SKIP() << "the extension citus is not installed";
    const std::vector<std::string> settings{"shared_preload_libraries=citus",
                                            "citus.node_conninfo=sslmode=disable", "fsync=off"};
    server_ = std::make_unique<Server>(settings);
    login_ = make_node(server());
    server().sql(add("citus_set_coordinator_host", server()), login_.name);
    for (auto &worker : workers_) {
      worker = std::make_unique<Server>(settings);
      make_node(*worker);
      server().sql(add("citus_add_node", *worker), login_.name);
    }
  }

  // A login and a database, of the same names on each.
  static Login make_node(Server &node) {
    const Login login{node.host(), node.port(), node.new_database()};
    node.sql("CREATE EXTENSION citus", login.name);
    return login;
  }
  // The nodes speak to each other where no password is asked for.
  static std::string add(const std::string &function, const Server &node) {
    return "SELECT " + function + "('" + node.socket_folder() + "', " +
           std::to_string(node.port()) + ")";
  }

  std::unique_ptr<Server> workers_[2];
};

TEST_F(Distributed, AStoreOnAClusterIsOne) {
  EXPECT_TRUE(Connection(login_).open());
  server().run_script(SCRIPTS "/distribute.sql", login_.name);
  EXPECT_EQ(sql("SELECT count(DISTINCT nodeport) FROM citus_shards WHERE citus_table_type ="
                " 'distributed'"),
            "2");
  const Program program(login_, {"-X3"});
  EXPECT_TRUE(program.wait_for_output("I'm writing realvalue", 60s)) << program.output();
  EXPECT_EQ(program.errors(), "");
  Process check({CHECK_PROGRAM, "-H" + login_.hosts, "-C" + std::to_string(login_.port),
                 "-U" + login_.name, "-P" + login_.password, "--points", "2", "--samples", "10",
                 "--skip", "sweep"});
  EXPECT_EQ(check.wait(90s), 0) << check.output();

  login_.port = workers_[0]->port();
  const Connection worker(login_);
  const Ids ids = worker.ids_of({"W3.TESTNODE01.POINT00001"});
  EXPECT_EQ(write(worker, ids, 77), 0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(worker.insert("W3.TESTNODE01", "NEW", R8), -12);
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_EQ(count_of("connect to the coordinator", errors), 1u) << errors;
}

}  // namespace kelptest
