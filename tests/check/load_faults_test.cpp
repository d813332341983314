// Loads of servers that take nothing or have no room, and loads that there is no time for.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <ctime>

#include "load_run.h"

namespace kelptest {

std::string seconds_ago(int seconds) {
  const time_t moment = std::time(nullptr) - seconds;
  char words[32];
  std::strftime(words, sizeof(words), "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&moment));
  return std::string("--begin=") + words;
}

TEST(LoadFaults, AServerThatTakesNothingLeavesNothingMeasured) {
  const struct {
    Words options;
    const char *told;
  } cases[] = {
      {{"--rate=400", "--for=1s"}, "20 of 20 calls failed"},
      {{"--do=snap", "--rate=400", "--for=1s"}, "20 of 20 calls failed"},
      {{"--do=history", "--rows=20", "--rate=400", "--for=1s"}, "20 of 20 calls failed"},
      {{"--do=read", "--for=1s"}, "kelp2_write_histroy_byid gave -3"},
      {{"--find-limit"}, "no call of the first second succeeded"},
  };
  std::vector<std::unique_ptr<Load>> loads;
  for (const auto &c : cases) loads.push_back(std::make_unique<Load>(c.options, "refuse:1"));
  for (size_t i = 0; i < loads.size(); ++i) {
    const auto &c = cases[i];
    Load &load = *loads[i];
    EXPECT_EQ(load.status(), 4) << c.options[0] << load.told();
    const json report = load.json_report();
    EXPECT_NE(report["summary"].get<std::string>().find(c.told), std::string::npos)
        << report["summary"];
    EXPECT_EQ(report["rows_written"], 0) << c.options[0];
    EXPECT_EQ(report["read_back"]["compared"], 0) << c.options[0];
    EXPECT_EQ(load.objects_left(), 0) << c.options[0];
    EXPECT_EQ(load.told().find("all as written"), std::string::npos) << load.told();
  }
}

struct SmallDisk {
  TempFolder folder;
  bool mounted = mount("none", folder.path().c_str(), "tmpfs", 0, "size=1500k") == 0;
  ~SmallDisk() { umount2(folder.path().c_str(), MNT_DETACH); }
};

TEST(LoadFaults, AFullDiskIsToldAndWhatWasAcknowledgedIsThere) {
  const SmallDisk disk;
  if (!disk.mounted) GTEST_SKIP() << "cannot mount a small disk here";
  Load full({"-Hfile:" + disk.folder.path("store"), "--rate=40000", "--points=200", "--for=2s"});
  EXPECT_EQ(full.status(), 0) << full.told();
  const json report = full.json_report();
  const int64_t calls = report["stages"][0]["calls"], failures = report["stages"][0]["failures"];
  EXPECT_EQ(calls, 400);
  EXPECT_GT(failures, 100);
  EXPECT_LT(failures, calls);
  EXPECT_EQ(report["rows_written"], (calls - failures) * 200);
  EXPECT_EQ(report["read_back"]["compared"], (calls - failures) * 10);
  EXPECT_NE(full.told().find("the disk is full"), std::string::npos) << full.told();
  EXPECT_NE(full.told().find("not cleared up"), std::string::npos) << full.told();
}

TEST(LoadFaults, WhatThereIsNoTimeForIsNotBegun) {
  const Words cases[] = {{"--rate=1000", "--for=1s", "--keep"},
                         {"--do=read", "--rows=100"},
                         {"--do=query", "--rows=100", "--sessions=3"},
                         {"--do=history", "--rows=100", "--find-limit"},
                         {"--do=mixed", "--rows=100", "--find-limit"}};
  std::vector<std::unique_ptr<Load>> loads;
  for (Words options : cases) {
    options.push_back(seconds_ago(5));
    loads.push_back(std::make_unique<Load>(options));
  }
  for (const auto &load : loads) {
    EXPECT_EQ(load->status(), 2) << load->told();
    EXPECT_NE(load->told().find("use an earlier --begin"), std::string::npos) << load->told();
    EXPECT_EQ(load->objects_left(), 0) << load->told();
  }
}

// The first second of a search takes all of them.
TEST(LoadFaults, AClimbEndsWhereTheSecondsDo) {
  Load load({"--find-limit", "--points=2", seconds_ago(200)});
  EXPECT_EQ(load.status(), 4) << load.told();
  EXPECT_NE(load.told().find("up to now ran out, which ended the climb"), std::string::npos)
      << load.told();
  EXPECT_NE(load.told().find("NOTHING MEASURED: nothing was measured: the seconds from"),
            std::string::npos)
      << load.told();
  EXPECT_LE(load.json_report()["rows_written"], 2 * 201);
  EXPECT_EQ(load.objects_left(), 0);
}

TEST(LoadFaults, ReadsAndQueriesCountTheRowsThatCame) {
  const struct {
    const char *doing;
    int rows;  // of a call
  } cases[] = {{"read", 20}, {"query", 50}};
  for (const auto &c : cases) {
    Load load({"--do", c.doing, "--rows=50", "--rate=1000", "--for=1s", "--sessions=4"});
    EXPECT_EQ(load.status(), 0) << load.told();
    const json report = load.json_report(), stage = report["stages"][0];
    EXPECT_EQ(stage["calls"], 1000 / c.rows);
    EXPECT_NEAR(double(stage["achieved"]), 1000, 300) << c.doing;
    EXPECT_EQ(report["rows_written"], 4 * 20 * (50 + 1)) << "those before, and no other";
    EXPECT_EQ(report["read_back"]["compared"], 4 * 10 * 50);
    EXPECT_EQ(load.objects_left(), 0);
  }
}

}  // namespace kelptest
