// A watch over a real PostgreSQL server that is killed, and over one that acknowledges what is not
// on its disk yet.
#include "support/server.h"
#include "fixture.h"

namespace kelptest {

namespace {

Words server_options(const Server &server) {
  return {"-H" + server.host(), "--port", std::to_string(server.port()), "--timeout", "5",
          "--option",           "0"};
}

void configure(Server &server, const std::string &setting) {
  server.sql("ALTER SYSTEM SET " + setting);
  server.sql("SELECT pg_reload_conf()");
}

}  // namespace

TEST(RealServer, KilledAndStartedAgainItHasLostNothing) {
  REQUIRE_OR_SKIP(Server::available(), "PostgreSQL is not installed");
  Server server;
  const WatchFolder folder;
  Process watch(folder.watch(server_options(server)));
  ASSERT_TRUE(folder.wait_for_steps(4, 60s)) << watch.output() << watch.errors();
  server.kill_hard();
  std::this_thread::sleep_for(2500ms);
  server.start();
  ASSERT_TRUE(
      wait_for(60s, [&] { return watch.output().find("back after") != std::string::npos; }));
  watch.signal(SIGINT);
  EXPECT_EQ(watch.wait(60s), kPassed) << watch.output() << watch.errors();
  EXPECT_EQ(folder.report()["outages"].size(), 1u);
}

TEST(RealServer, ThatAcknowledgesBeforeItsDiskHasItLosesTheLastSeconds) {
  REQUIRE_OR_SKIP(Server::available(), "PostgreSQL is not installed");
  Server server;
  configure(server, "wal_writer_delay = '10s'");
  configure(server, "synchronous_commit = off");
  const WatchFolder folder;
  Process watch(folder.watch(server_options(server)));
  ASSERT_TRUE(folder.wait_for_steps(2, 60s)) << watch.output() << watch.errors();
  server.sql("CHECKPOINT");  // or else the points could be lost too
  ASSERT_TRUE(folder.wait_for_steps(6, 60s)) << watch.output() << watch.errors();
  server.kill_hard();
  server.start();
  ASSERT_TRUE(wait_for(60s, [&] { return watch.output().find("back after") != std::string::npos; }))
      << watch.output() << watch.errors();
  watch.signal(SIGINT);
  EXPECT_EQ(watch.wait(60s), kFailed) << watch.output() << watch.errors();
  const json report = folder.report();
  EXPECT_TRUE(report.contains("first_step"));
  EXPECT_GT(report["samples"]["lost"], 0);
  EXPECT_EQ(report["samples"]["lost"], report["outages"][0]["lost_seconds"].get<int>() * kPoints);
}

}  // namespace kelptest
