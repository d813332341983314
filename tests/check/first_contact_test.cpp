// What somebody sees whose first run comes to nothing, and that a run does no harm to another one:
// no connection in all its forms, the wrong database, a prefix that is in use, wrong options.
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <thread>

#include "check_run.h"
#include "support/required.h"
#include "support/server.h"

namespace kelptest {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// A server that takes connections and never says a word.
class SilentServer {
 public:
  SilentServer() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(socket_, reinterpret_cast<sockaddr *>(&address), size);
    listen(socket_, 16);
    getsockname(socket_, reinterpret_cast<sockaddr *>(&address), &size);
    port = std::to_string(ntohs(address.sin_port));
  }
  ~SilentServer() { close(socket_); }
  SilentServer(const SilentServer &) = delete;
  SilentServer &operator=(const SilentServer &) = delete;

  std::string port;

 private:
  int socket_;
};

void expect_no_connection(const Words &words, const std::string &cause,
                          const Words &variables = {}) {
  const TempFolder folder;
  Words with_reports = words;
  with_reports.insert(with_reports.end(), {"--json", folder.path("json"), "--junit",
                                           folder.path("junit"), "--html", folder.path("html")});
  Process run(with_reports, variables);
  EXPECT_EQ(run.wait(60s), kNoConnection) << cause << run.output() << run.errors();
  EXPECT_THAT(run.output(), HasSubstr(cause));
  EXPECT_THAT(run.output(), HasSubstr("\nnext     "));
  EXPECT_EQ(count_of("\n", run.output()), count_of("\n", run.output().substr(0, 2000))) << "long";
  const json report = json::parse(contents(folder.path("json")));
  EXPECT_EQ(report["verdict"], "no connection");
  EXPECT_NE(report["next_step"], "");
  pugi::xml_document junit;
  ASSERT_TRUE(junit.load_file(folder.path("junit").c_str()));
  const pugi::xml_node suite = junit.child("testsuites").child("testsuite");
  EXPECT_EQ(suite.attribute("errors").as_int(), 1);
  EXPECT_EQ(suite.attribute("failures").as_int(), 0);
  EXPECT_EQ(suite.select_nodes("testcase[@name='run.open']/error").size(), 1u);
  EXPECT_THAT(contents(folder.path("html")), HasSubstr("What to try"));
}

TEST(NoConnection, SaysWhatTheLibrarySaidAndWhatToTryNext) {
  const TempFolder folder;
  std::ofstream(folder.path("text")) << "not a database, but long enough to be taken for one\n";
  std::filesystem::create_directory(folder.path("folder"));
  const std::pair<Words, std::string> causes[] = {
      {command("file:" + folder.path("none/store"), {}), "library: libkelpapi2: "},
      {command("file:" + folder.path("text"), {}), "library: libkelpapi2: "},
      {command("file:" + folder.path("folder"), {}), "library: libkelpapi2: "},
      {command("127.0.0.1", {"-C" + std::to_string(free_port())}), "library: libkelpapi2: "},
      {command("no.such.host.invalid", {}), "library: libkelpapi2: "}};
  for (const auto &[words, cause] : causes) expect_no_connection(words, cause);
}

TEST(NoConnection, WrongPasswordAndDatabaseOfAPostgresServer) {
  REQUIRE_OR_SKIP(Server::available(), "PostgreSQL is not installed");
  Server server;
  const std::string port = "-C" + std::to_string(server.port());
  expect_no_connection(command(server.host(), {port, "-Pwrong password"}), "password");
  expect_no_connection(command(server.host(), {port, "-Unobody at all"}), "library: libkelpapi2: ");
}

TEST(NoConnection, IsWhatAnInitIsThatHangsOrEndsTheProcess) {
  const TempFolder folder;
  const Words words = command("file:" + folder.path("store"), {"--timeout=0.5"});
  expect_no_connection(words, "kelp2_init did not return within 0.5 s", with_fault("init:hang"));
  expect_no_connection(words, "crashed in kelp2_init: Aborted", with_fault("init:abort"));
  expect_no_connection(words, "the process ended itself in kelp2_init", with_fault("init:exit"));
}

TEST(NoConnection, OfASilentServerDoesNotDependOnTheTimeout) {
  const SilentServer server;
  for (const char *timeout : {"--timeout=0.5", "--timeout=3"}) {
    expect_no_connection(command("127.0.0.1", {"-C", server.port, timeout}), "kelp2_init");
  }
}

TEST(NoConnection, OfALibraryWithoutTheOperationsIsInTheLinkersWords) {
  const TempFolder folder;
  expect_no_connection(command("file:" + folder.path("store"), {}), "undefined symbol: kelp2_",
                       {"LD_LIBRARY_PATH=" EMPTY_LIBRARY_FOLDER});
}

TEST(Timeout, LeavesTheLibraryTwoSecondsLess) {
  const std::pair<Words, std::string> cases[] = {{{}, "waits 30 s"},
                                                 {{"--timeout=12"}, "waits 10 s"},
                                                 {{"--timeout=1"}, "waits 1 s"},
                                                 {{"--timeout=600"}, "waits 30 s"}};
  const TempFolder folder;
  for (const auto &[options, words] : cases) {
    Words only = options;
    only.insert(only.end(), {"--only=clock.skew"});
    Process run(command("file:" + folder.path("store"), only), with_fault("init:tells how long"));
    EXPECT_EQ(run.wait(60s), kPassed) << run.output();
    EXPECT_THAT(run.output(), HasSubstr("library: " + words));
  }
}

TEST(Database, ThatTheServerDoesNotListIsNamedWithThoseItHas) {
  const TempFolder folder;
  const Words words = command("file:" + folder.path("store"), {"-DW4", "--only=tree.insert"});
  Process run(words);
  EXPECT_EQ(run.wait(60s), kRefused) << run.output();
  EXPECT_THAT(run.output(), HasSubstr("there is no database W4 on this server (-D); it has W3"));
  Process unlisted(words, with_fault("get_database:empty"));
  EXPECT_EQ(unlisted.wait(60s), kFailed) << unlisted.output();
}

// ---- One prefix, two runs ----

std::string store_with(const TempFolder &folder, const std::string &claim) {
  const std::string store = folder.path("store");
  Process kept(command("file:" + store, {"--keep", "--only=values.later", "--samples=1"}));
  EXPECT_EQ(kept.wait(60s), kPassed) << kept.output();
  const std::string update = "UPDATE object SET ed = '" + claim + "' WHERE name = 'KELPCHECK00'";
  if (!claim.empty()) sql(store, update + " RETURNING 1");
  return store;
}

TEST(Prefix, InUseByARunThatLivesIsLeftAlone) {
  const TempFolder folder;
  const std::string host = "file:" + folder.path("store");
  Process first(command(host, {"--samples=2000"}));
  ASSERT_TRUE(first.wait_for_output("connection.status", 60s)) << first.errors();
  Process second(command(host, {}));
  EXPECT_EQ(second.wait(30s), kRefused) << second.output();
  EXPECT_THAT(second.output(), HasSubstr("another run uses the prefix KELPCHECK: host "));
  EXPECT_THAT(second.output(), HasSubstr("process " + std::to_string(first.pid())));
  Process beside(command(host, {"--prefix=OTHER", "--only=values.later"}));
  EXPECT_EQ(beside.wait(60s), kPassed) << beside.output();
  first.signal(SIGKILL);
  first.wait(30s);
  Process third(command(host, {"--only=values.later"}));
  EXPECT_EQ(third.wait(60s), kPassed) << third.output();
  EXPECT_EQ(left_in(folder.path("store")), kNothingLeft);
}

TEST(Prefix, OfARunElsewhereIsALeftoverOnceItsCountStandsStill) {
  const TempFolder folder;
  const std::string claim = "kelpcheck run faraway 12345678-1 4711 815 1795000000 ";
  const std::string store = store_with(folder, claim + "3 40");
  std::atomic<bool> over = false;
  std::thread renewer([&] {
    for (int count = 4; !over; ++count) {
      sql(store, "UPDATE object SET ed = '" + claim + std::to_string(count) +
                     " 40' WHERE name = 'KELPCHECK00'");
      std::this_thread::sleep_for(500ms);
    }
  });
  Process refused(command("file:" + store, {"--only=values.later"}));
  EXPECT_EQ(refused.wait(60s), kRefused) << refused.output();
  EXPECT_THAT(refused.output(), HasSubstr("host faraway, process 4711, since "));
  over = true;
  renewer.join();
  Process next(command("file:" + store, {"--only=values.later", "--samples=1"}));
  EXPECT_EQ(next.wait(60s), kPassed) << next.output();
  EXPECT_EQ(left_in(store), kNothingLeft);
}

TEST(Prefix, OfAWatchIsEvidenceAndStays) {
  const TempFolder folder;
  const std::string store = store_with(folder, "kelpcheck watch 7 1795000000");
  const std::string before = left_in(store);
  Process run(command("file:" + store, {}));
  EXPECT_EQ(run.wait(60s), kRefused) << run.output();
  EXPECT_THAT(run.output(), HasSubstr("kelpcheck verify JOURNAL --remove"));
  EXPECT_EQ(left_in(store), before);
}

TEST(Prefix, IsClaimedAnewWhileTheRunGoesOn) {
  const TempFolder folder;
  const std::string store = folder.path("store");
  Process run(command("file:" + store, {"--samples=3000"}));
  ASSERT_TRUE(run.wait_for_output("connection.status", 60s)) << run.errors();
  const std::string select = "SELECT ed FROM object WHERE name = 'KELPCHECK00'";
  const std::string first = sql(store, select);
  EXPECT_TRUE(wait_for(20s, [&] { return sql(store, select) != first; })) << first;
  run.signal(SIGINT);
  EXPECT_EQ(run.wait(60s), 128 + SIGINT);
  EXPECT_EQ(left_in(store), kNothingLeft);
}

// ---- Nothing too much, nothing left ----

TEST(Objects, AreThoseOfOneFamilyAtATime) {
  constexpr int points = 600, spare = 1200;
  const TempFolder folder;
  const std::string store = folder.path("store");
  Process run(command("file:" + store, {"--points=" + std::to_string(points), "--samples=2",
                                        "--skip=statistics", "--skip=cache"}));
  int most = 0;
  EXPECT_TRUE(wait_for(120s, [&] {
    const std::string count = sql(store, "SELECT count(*) FROM object WHERE kind > 16");
    if (!count.empty()) most = std::max(most, std::stoi(count));
    return run.wait(0s).has_value();
  }));
  EXPECT_EQ(run.wait(1s), kPassed) << run.output();
  EXPECT_GE(most, points);
  EXPECT_LE(most, points + spare);
  EXPECT_EQ(left_in(store), kNothingLeft);
}

TEST(Objects, AreFoundWhereLookUpsOfManyNamesAreRefused) {
  const TempFolder folder;
  const std::string store = store_with(folder, "");
  Process run(command("file:" + store, {"--only=values.later", "--samples=1"}),
              with_fault("get_object_byname:few names"));
  EXPECT_EQ(run.wait(60s), kPassed) << run.output();
  EXPECT_EQ(left_in(store), kNothingLeft);
}

TEST(Options, ThatMakeNoSenseAreRefusedWithTheirName) {
  const std::pair<Words, std::string> cases[] = {{{"--timeout=nan"}, "--timeout"},
                                                 {{"--timeout=inf"}, "--timeout"},
                                                 {{"--timeout=5x"}, "--timeout"},
                                                 {{"-C99999"}, "--port"},
                                                 {{"-C0"}, "--port"}};
  for (const auto &[options, name] : cases) {
    Process run(command("file:/none", options));
    EXPECT_EQ(run.wait(30s), kRefused) << options[0];
    EXPECT_THAT(run.errors(), HasSubstr(name));
  }
}

TEST(Interrupted, QuietlyIsALineOrTwo) {
  const TempFolder folder;
  const std::string store = folder.path("store");
  Process run(command("file:" + store, {"--quiet", "--samples=3000"}));
  const auto begun = [&] {
    const std::string count = sql(store, "SELECT count(*) FROM object WHERE kind > 16");
    return !count.empty() && count != "0 ";
  };
  ASSERT_TRUE(wait_for(60s, begun));
  run.signal(SIGINT);
  EXPECT_EQ(run.wait(60s), 128 + SIGINT);
  EXPECT_LE(count_of("\n", run.output()), 2u) << run.output();
  EXPECT_THAT(run.output(), HasSubstr("INTERRUPTED: "));
}

TEST(Clock, ThatIsSlowIsBehind) {
  const TempFolder folder;
  Process run(command("file:" + folder.path("store"), {"--only=clock.skew"}),
              with_fault("get_system_time:an hour late"));
  EXPECT_EQ(run.wait(60s), kFailed);
  EXPECT_THAT(run.output(), HasSubstr("got 3600 s behind"));
  EXPECT_THAT(run.output(), Not(HasSubstr("-3600")));
}

TEST(Record, NamesTheLibraryThatWasJudged) {
  const TempFolder folder;
  const std::string link = folder.path("libkelpapi2.so");
  std::filesystem::create_symlink(REAL_LIBRARY, link);
  Process run(
      command("file:" + folder.path("store"),
              {"--only=clock.skew", "--json", folder.path("json"), "--html", folder.path("html")}),
      {"LD_LIBRARY_PATH=" + folder.path()});
  EXPECT_EQ(run.wait(60s), kPassed) << run.output();
  EXPECT_THAT(run.output(), HasSubstr("50 points x 360 rows"));
  const json report = json::parse(contents(folder.path("json")));
  const std::string real = std::filesystem::canonical(REAL_LIBRARY).string();
  const std::string sum = kelptest::run({"sha256sum", real}).substr(0, 64);
  EXPECT_EQ(report["library"], real);
  EXPECT_EQ(report["library_size"], std::filesystem::file_size(real));
  EXPECT_EQ(report["library_sha256"], sum);
  const std::string page = contents(folder.path("html"));
  for (const std::string &part : {real, sum, std::string("Signature")}) {
    EXPECT_THAT(page, HasSubstr(part));
  }
}

}  // namespace kelptest
