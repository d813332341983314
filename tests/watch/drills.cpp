// Outages that take minutes: servers that freeze and fail over, a program that is killed a hundred
// times. Started by bench/outages.sh.
#include <signal.h>

#include <random>

#include "fixture.h"
#include "support/server.h"

namespace kelptest {

namespace {

Words options(const std::string &hosts, const Server &server) {
  return {"-H" + hosts, "--port", std::to_string(server.port()), "--timeout", "32", "-O", "0"};
}

bool back(const Process &watch) {
  return wait_for(120s, [&] { return watch.output().find("back after") != std::string::npos; });
}

// Ends a watch and gives its status; what it said is shown.
int ended(Process &watch) {
  watch.signal(SIGINT);
  const int status = watch.wait(180s).value_or(-1);
  std::printf("%s%s", watch.output().c_str(), watch.errors().c_str());
  return status;
}

// A primary with a standby that follows it, and a watch that knows both.
struct Pair {
  Server primary;
  std::unique_ptr<Server> standby;
  WatchFolder folder;
  std::unique_ptr<Process> watch;

  explicit Pair(bool synchronous) {
    standby = std::make_unique<Server>(primary, Server::Standby());
    if (synchronous) {
      primary.sql("ALTER SYSTEM SET synchronous_standby_names = '*'");
      primary.sql("SELECT pg_reload_conf()");
    }
    watch = std::make_unique<Process>(
        folder.watch(options(primary.host() + "," + standby->host(), primary)));
  }
};

}  // namespace

TEST(Drill, AServerThatIsFrozenFor20SecondsLosesNothing) {
  Server server;
  const WatchFolder folder;
  Process watch(folder.watch(options(server.host(), server)));
  ASSERT_TRUE(folder.wait_for_steps(5, 60s)) << watch.errors();
  server.freeze();
  std::this_thread::sleep_for(20s);
  server.thaw();
  std::this_thread::sleep_for(8s);
  EXPECT_EQ(ended(watch), kPassed);
}

TEST(Drill, AFailOverToASynchronousStandbyLosesNothing) {
  Pair pair(true);
  ASSERT_TRUE(pair.folder.wait_for_steps(10, 60s)) << pair.watch->errors();
  pair.primary.kill_hard();
  std::this_thread::sleep_for(3s);
  pair.standby->promote();
  ASSERT_TRUE(back(*pair.watch)) << pair.watch->output() << pair.watch->errors();
  EXPECT_EQ(ended(*pair.watch), kPassed);
}

TEST(Drill, AFailOverToAStandbyThatIsBehindLosesTheRangeBetween) {
  Pair pair(false);
  ASSERT_TRUE(pair.folder.wait_for_steps(5, 60s)) << pair.watch->errors();
  pair.standby->freeze();
  ASSERT_TRUE(pair.folder.wait_for_steps(10, 60s));
  pair.primary.kill_hard();
  pair.standby->thaw();
  pair.standby->promote();
  ASSERT_TRUE(back(*pair.watch)) << pair.watch->output() << pair.watch->errors();
  EXPECT_EQ(ended(*pair.watch), kFailed);
  const json report = pair.folder.report();
  EXPECT_GE(report["samples"]["lost"], 3 * kPoints);
  EXPECT_EQ(report["samples"]["lost"], report["outages"][0]["lost_seconds"].get<int>() * kPoints);
}

// The watcher, and with it all that writes to the store.
TEST(Drill, AWatchKilledAHundredTimesNeverGivesAFalseVerdict) {
  for (const char *option : {"0", "8"}) {
    const WatchFolder folder;
    std::mt19937 random(std::random_device{}());
    std::uniform_real_distribution<double> seconds(0.05, 2.2);
    for (int kill = 0; kill < 50; ++kill) {
      {
        Process watch(folder.watch({"-O", option}));
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds(random)));
        watch.signal(SIGKILL);
        watch.wait(10s);
      }
      if (!std::filesystem::exists(folder.journal())) continue;
      Process verify(folder.verify({}));
      const int status = verify.wait(120s).value_or(-1);
      const std::string said = verify.output() + verify.errors();
      const bool too_early = contents(folder.journal()).find("acknowledged") == std::string::npos ||
                             contents(folder.journal()).find("reader reads") == std::string::npos;
      EXPECT_TRUE(status == kPassed || (too_early && status != kFailed)) << kill << said;
    }
    Process last(folder.watch({"-O", option}));
    std::this_thread::sleep_for(5s);
    EXPECT_EQ(ended(last), kPassed);
  }
}

}  // namespace kelptest
