// A load that is told to end, in each of its phases: it clears up, and reports what it had
// measured.
#include <gtest/gtest.h>
#include <signal.h>

#include "load_run.h"

namespace kelptest {

struct Interruption {
  const char *phase;
  Words options;
  const char *pace;
  const char *shown;  // by then it is in that phase
  Process::Seconds then;
  size_t stages;  // that the report has at least
};

// 6000 rows of preparation take 6 s here, and every load would go on for a minute.
const Interruption kInterruptions[] = {
    {"before reads", {"--do=read", "--rows=300", "--for=60s"}, "rows:1000", "kelpcheck", 1s, 0},
    {"before queries", {"--do=query", "--rows=300", "--for=60s"}, "rows:1000", "kelpcheck", 1s, 0},
    {"the stage", {"--rate=1000", "--for=60s", "--sessions=4"}, "", "\n1  ", 0s, 1},
    {"the first stage of a search", {"--find-limit"}, "rows:4000", "searching", 3.2s, 0},
    {"between stages", {"--find-limit"}, "rows:4000", "\nclimb", 0s, 1},
    {"reading back", {"--rate=1000", "--for=1s"}, "lose:7", "\nrate  ", 0.2s, 1},
};

void interrupt(Load &load, const Interruption &when, int number) {
  EXPECT_TRUE(load.process->wait_for_output(when.shown, 30s)) << load.told();
  std::this_thread::sleep_for(when.then);
  load.process->signal(number);
}

void expect_clean_end(const Interruption &when, int number) {
  Load load(when.options, when.pace);
  interrupt(load, when, number);
  EXPECT_EQ(load.status(), 128 + number) << when.phase << load.told();
  EXPECT_EQ(load.objects_left(), 0) << when.phase;
  const json report = load.json_report();
  EXPECT_EQ(report["verdict"], "interrupted") << when.phase;
  EXPECT_GE(report["stages"].size(), when.stages) << when.phase;
  EXPECT_EQ(report["read_back"]["done"], false) << when.phase;
  const std::string summary = report["summary"];
  EXPECT_EQ(summary.find("keeps up with no"), std::string::npos) << when.phase << summary;
}

// All beside each other, as most of their time is waiting.
TEST(LoadInterrupted, ClearsUpAndReportsInEveryPhase) {
  std::vector<std::thread> threads;
  for (const Interruption &when : kInterruptions) {
    const int number = threads.size() % 2 == 0 ? SIGINT : SIGTERM;
    threads.emplace_back([&when, number] { expect_clean_end(when, number); });
  }
  for (std::thread &thread : threads) thread.join();
}

// Of the time that passed, not of the minute that was planned.
TEST(LoadInterrupted, TheRateIsThatUntilThen) {
  Load load({"--rate=1000", "--for=60s"});
  interrupt(load, {"", {}, "", "\n1  ", 0.5s, 1}, SIGTERM);
  EXPECT_EQ(load.status(), 143) << load.told();
  EXPECT_NEAR(double(load.stage()["achieved"]), 1000, 200);
  EXPECT_LT(double(load.stage()["seconds"]), 20);
  const json last = load.json_report()["last_stage_seconds"].back();
  EXPECT_NEAR(double(last["offered"]), double(last["achieved"]), 200);
}

// No session had to be killed because it did not end by itself.
TEST(LoadInterrupted, FourSessionsEndAsFastAsOneAndKeepTheirRowsIfAsked) {
  Load load({"--rate=1000", "--for=60s", "--sessions=4", "--keep"});
  interrupt(load, {"", {}, "", "\n1  ", 0s, 1}, SIGINT);
  EXPECT_TRUE(load.process->wait_for_output("INTERRUPTED", 30s)) << load.told();
  EXPECT_EQ(load.process->wait(2s), 130);
  EXPECT_NE(load.told().find("the rows stay on the server (--keep)"), std::string::npos);
  EXPECT_EQ(load.objects_left(), 1 + 4 * (1 + 20)) << "the claim, and four nodes with their points";
  EXPECT_EQ(load.count("SELECT count(*) FROM current_value"), 4 * 20);
}

}  // namespace kelptest
