// kelpcheck load and compare as their users run them: over a healthy server, and over one that is
// slow, careless or gone.
#include <gtest/gtest.h>

#include "load_run.h"

namespace kelptest {

TEST(LoadProgram, EveryKindOfCallIsMeasuredReadBackAndClearedUp) {
  std::vector<std::unique_ptr<Load>> loads;
  for (const char *doing : {"write", "history", "snap", "read", "query", "mixed"}) {
    loads.push_back(std::make_unique<Load>(Words{"--do", doing, "--rate=1000", "--rows=10",
                                                 "--for=1s", "--sessions=2", "--within=20s"}));
    if (loads.size() % 2 == 1) continue;
    for (const auto &load : {loads.end()[-2].get(), loads.end()[-1].get()}) {
      ASSERT_EQ(load->status(), 0) << load->told();
      const json report = load->json_report();
      EXPECT_EQ(report["form"], "kelpcheck");
      EXPECT_EQ(report["mode"], "load");
      EXPECT_EQ(load->stage()["failures"], 0);
      EXPECT_EQ(load->stage()["kept_up"], true);
      EXPECT_GT(load->stage()["calls"], 40);
      EXPECT_NEAR(double(load->stage()["achieved"]), 1000, 400);
      EXPECT_GT(report["read_back"]["compared"], 100);
      EXPECT_EQ(load->objects_left(), 0);
    }
  }
}

TEST(LoadProgram, AServerThatThrowsRowsAwayFails) {
  for (const char *doing : {"write", "snap"}) {
    Load load({"--do", doing, "--rate=400", "--for=1s"}, "lose:7");
    EXPECT_EQ(load.status(), 1) << load.told();
    EXPECT_NE(load.told().find("FAILED: row of point 1 of session 1 at 2012-08-31"),
              std::string::npos)
        << load.told();
    EXPECT_EQ(load.objects_left(), 0);
  }
  Load unseen({"--rate=400", "--for=1s", "--no-read-back"}, "nothing");
  EXPECT_EQ(unseen.status(), 0) << unseen.told();
  EXPECT_NE(unseen.told().find("--no-read-back"), std::string::npos);
}

TEST(LoadProgram, AStallShowsInTheCallsBehindIt) {
  Load load({"--rate=2000", "--for=4s", "--within=10ms"}, "stall:1:2.5");
  EXPECT_EQ(load.status(), 0) << load.told();
  const json latency = load.stage()["latency"];
  EXPECT_GE(latency["longest"], 0.9);
  EXPECT_GE(latency["p99"], 0.5);
  EXPECT_EQ(load.stage()["calls"], 400) << "arrivals are never dropped";
  EXPECT_EQ(load.stage()["limited_by"], "server");
}

TEST(LoadProgram, FailedAndHangingCallsAreToldAndTheLoadGoesOn) {
  Load refused({"--rate=2000", "--for=1s"}, "refuse:4");
  Load hung({"--rate=400", "--for=1s"}, "hang:5");
  EXPECT_EQ(refused.status(), 0) << refused.told();
  EXPECT_EQ(refused.stage()["failures"], 25);
  EXPECT_EQ(refused.stage()["calls"], 100);
  EXPECT_EQ(refused.json_report()["rows_written"], 75 * 20);
  EXPECT_EQ(hung.status(), 0) << hung.told();
  EXPECT_EQ(hung.stage()["calls"], 20);
  EXPECT_GE(hung.stage()["failures"], 1);
  EXPECT_GE(hung.stage()["latency"]["longest"], 0.9);
}

TEST(LoadProgram, SaysWhatCannotBeBegun) {
  const struct {
    Words options;
    int status;
    const char *told;
  } cases[] = {
      {{"--rate=1e9"}, 2, "10,000,000,000 rows; if that is meant, say --yes"},
      {{"--begin=2012-08-31", "--rate=1e6", "--for=1000s", "--points=1", "--yes"},
       2,
       "has one of its own"},
      {{"--begin=2037-01-01"}, 2, "not in the past"},
      {{"--for=soon"}, 2, "not a duration"},
      {{"--do=everything"}, 2, "\"everything\" is none of write, history"},
      {{"--rate=nan"}, 2, "nan is not a number"},
      {{"--find-limit", "--rate=5"}, 2, "leave --rate out"},
      {{"--find-limit", "--for=5s"}, 2, "--for excludes --find-limit"},
      {{"-Hfile:/no/such/folder/store"}, 3, "NO CONNECTION"},
  };
  for (const auto &c : cases) {
    Load load(c.options);
    EXPECT_EQ(load.status(), c.status) << c.told;
    EXPECT_NE(load.told().find(c.told), std::string::npos) << load.told();
  }
}

struct Compared {
  int status;
  std::string told;
};

Compared compare(const std::string &before, const std::string &after, const Words &options = {}) {
  Words words{CHECK_PROGRAM, "compare", before, after};
  words.insert(words.end(), options.begin(), options.end());
  Process process(words);
  const int status = process.wait(30s).value_or(-999);
  return {status, process.output() + process.errors()};
}

// Reports made of a real one by changing one thing.
class CompareProgram : public testing::Test {
 protected:
  void SetUp() override {
    Process check({CHECK_PROGRAM, "-Hfile:" + folder.path("store"), "-O8", "--only=values",
                   "--json", folder.path("old.json")});
    ASSERT_EQ(check.wait(120s), 0) << check.output();
    before = json::parse(std::ifstream(folder.path("old.json")));
    before["habits"] = {{{"code", "end"}, {"question", "Is the end inside?"}, {"answer", "no"}}};
    std::ofstream(folder.path("old.json")) << before;
  }
  Compared with(const json &after, const Words &options = {}) {
    std::ofstream(folder.path("new.json")) << after;
    return compare(folder.path("old.json"), folder.path("new.json"), options);
  }

  TempFolder folder;
  json before;
};

TEST_F(CompareProgram, TellsWhatChangedBetweenChecks) {
  EXPECT_EQ(with(before).status, 0);
  EXPECT_NE(with(before).told.find("NO DIFFERENCE"), std::string::npos) << with(before).told;

  json failed = before;
  failed["checks"][1]["verdict"] = "failed";
  EXPECT_EQ(with(failed).status, 1);
  EXPECT_NE(with(failed).told.find("failed, was passed"), std::string::npos);

  json slower = before;
  for (json &figure : slower["figures"]) {
    if (figure["operation"] != "kelp2_write_value") continue;
    for (json &seconds : figure["batches"]["seconds"]) seconds = double(seconds) * 20;
  }
  EXPECT_EQ(with(slower).status, 1) << with(slower).told;
  EXPECT_NE(with(slower).told.find("worse          kelp2_write_value"), std::string::npos);

  json other = before;
  other["habits"][0]["answer"] = "otherwise";
  EXPECT_EQ(with(other).status, 0) << with(other).told;
  EXPECT_NE(with(other).told.find("otherwise, was"), std::string::npos) << with(other).told;
  EXPECT_EQ(with(other, {"--strict"}).status, 1);
}

TEST_F(CompareProgram, RefusesWhatCannotBeCompared) {
  json load = before, interrupted = before, newer = before, sizes = before, odd = before;
  load["mode"] = "load";
  interrupted["verdict"] = "interrupted";
  newer["form_version"] = 99;
  for (const json &report : {load, interrupted, newer, json::array(), json("text")}) {
    const Compared result = with(report);
    EXPECT_EQ(result.status, 2) << result.told;
    EXPECT_NE(result.told.find("kelpcheck: "), std::string::npos);
  }
  EXPECT_EQ(compare(folder.path("old.json"), folder.path("none.json")).status, 2);
  sizes["options"]["points"] = 51;
  EXPECT_NE(with(sizes).told.find("times are not compared"), std::string::npos);
  odd["figures"] = "many";
  odd["checks"] = json::array({1, "two", json::object()});
  odd["habits"] = 7;
  EXPECT_NE(with(odd).told.find("nothing in common"), std::string::npos) << with(odd).told;
}

}  // namespace kelptest
