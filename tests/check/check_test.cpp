// kelpcheck as its users run it: over healthy servers, where it must find nothing, in front of a
// library that breaks one thing at a time, where it must name the right check, and interrupted.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <sstream>

#include "check_run.h"
#include "support/required.h"
#include "support/server.h"

namespace kelptest {

using nlohmann::json;
using testing::Each;
using testing::Gt;

// The names of all checks, as the program lists them, between run.open and run.cleanup.
Words all_checks() {
  Process list({CHECK_PROGRAM, "--list"});
  EXPECT_EQ(list.wait(30s), kPassed);
  Words names;
  std::istringstream lines(list.output());
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(' ')) names.push_back(line);
  }
  EXPECT_EQ(names.front(), "run.open");
  EXPECT_EQ(names.back(), "run.cleanup");
  return names;
}

// How many of them these patterns select: the families, and those that always run.
size_t selected_of(const Words &checks, const Words &families) {
  const auto selected = [&](const std::string &check) {
    const std::string family = check.substr(0, check.find('.'));
    const bool always = family == "run" || family == "habits";
    return always || std::count(families.begin(), families.end(), family) > 0;
  };
  return std::count_if(checks.begin(), checks.end(), selected);
}

// All that the bundled library promises at one size, and at others all but the sweep and the
// sequences, whose sizes are their own.
const Words kSizes[] = {{"--points=29", "--samples=120", "--expect=bundled"},
                        {"--points", "1", "--samples", "1"},
                        {"--points", "997", "--samples", "2"},
                        {"--points=23", "--samples=40", "--nodes=30"}};

struct SizedRun {
  size_t checks;
  Words options;
};

std::vector<SizedRun> sized_runs() {
  const Words all = all_checks();
  const size_t sized = std::count_if(all.begin(), all.end(), [](const std::string &check) {
    return !check.starts_with("sweep.") && !check.starts_with("explore.");
  });
  std::vector<SizedRun> runs;
  for (Words options : kSizes) {
    const bool first = runs.empty();
    if (!first) options.insert(options.end(), {"--skip=sweep", "--skip=explore"});
    runs.push_back({first ? all.size() : sized, options});
  }
  return runs;
}

TEST(Healthy, OverSqliteEverythingPassesAndNothingStays) {
  const TempFolder folder;
  for (const auto &[checks, options] : sized_runs()) {
    Process run(command("file:" + folder.path("store"), options));
    EXPECT_EQ(run.wait(120s), kPassed) << run.output();
    const std::string verdict = "PASSED: all " + std::to_string(checks) + " checks passed";
    EXPECT_NE(run.output().find(verdict), std::string::npos) << run.output();
    EXPECT_EQ(run.errors(), "");
    EXPECT_EQ(left_in(folder.path("store")), kNothingLeft);
  }
}

TEST(Healthy, OverPostgresEverythingPassesAndNothingStays) {
  REQUIRE_OR_SKIP(Server::available(), "PostgreSQL is not installed");
  Server server;
  const TempFolder folder;
  std::ofstream(folder.path("secret")) << server.password() << "\n";
  for (const auto &[checks, options] : sized_runs()) {
    Words words = command(server.host(), options);
    words.insert(words.end(), {"--port", std::to_string(server.port()), "--password-file",
                               folder.path("secret")});
    Process run(words);
    EXPECT_EQ(run.wait(120s), kPassed) << run.output() << run.errors();
    for (const char *table : {"object WHERE kind > 8", "sample", "current_value"}) {
      EXPECT_EQ(server.sql(std::string("SELECT count(*) FROM kelp.") + table, server.user()), "0");
    }
  }
}

// A run with a fault, of the check that has to find it.
struct FaultRun {
  std::string fault, check;
  TempFolder folder;
  Process process;

  FaultRun(const std::string &fault_, const std::string &check_)
      : fault(fault_),
        check(check_),
        process(
            command("file:" + folder.path("store"),
                    {"--points=12", "--samples=20", "--timeout=0.5", "--settle=0.3",
                     "--expect=bundled", "--only", is_part_of_all() ? "connection.status" : check}),
            with_fault(fault)) {}

  // Whether every run has that check.
  bool is_part_of_all() const { return check.starts_with("run.") || check.starts_with("habits."); }

  void expect_found() {
    EXPECT_EQ(process.wait(60s), kFailed) << fault << process.output() << process.errors();
    const size_t line = process.output().find("FAILED   " + check);
    EXPECT_NE(line, std::string::npos) << fault << "\n" << process.output();
    const std::string kind = fault.substr(fault.find(':') + 1);
    if (kind != "hang" && kind != "crash" && kind != "abort" && kind != "exit") return;
    const std::string operation = "kelp2_" + fault.substr(0, fault.find(':'));
    EXPECT_NE(process.output().find(operation, line), std::string::npos) << process.output();
  }
};

TEST(Fault, EveryOneIsFoundByTheCheckThatIsThereForIt) {
  constexpr size_t at_a_time = 3;
  std::ifstream table(FAULTS);
  std::deque<std::unique_ptr<FaultRun>> runs;
  size_t faults = 0;
  for (std::string line; std::getline(table, line);) {
    const size_t bar = line.find(" | ");
    if (line.starts_with('#') || bar == std::string::npos) continue;
    ++faults;
    runs.push_back(std::make_unique<FaultRun>(line.substr(0, bar), line.substr(bar + 3)));
    if (runs.size() < at_a_time) continue;
    runs.front()->expect_found();
    runs.pop_front();
  }
  for (const auto &run : runs) run->expect_found();
  EXPECT_GE(faults, 90u);
}

TEST(Fault, ACallThatDoesNotReturnCostsOnlyTheRestOfItsFamily) {
  const TempFolder folder;
  const std::string report = folder.path("json");
  Process run(command("file:" + folder.path("store"),
                      {"--points=3", "--samples=3", "--timeout=0.5", "--only=values",
                       "--only=cache", "--only=snapshot", "--json", report}),
              with_fault("get_snap_byname:hang"));
  EXPECT_EQ(run.wait(60s), kFailed);
  const json result = json::parse(contents(report));
  for (const json &check : result["checks"]) {
    const std::string name = check["name"];
    const bool hung = name == "snapshot.byname.roundtrip";
    const bool behind = name == "snapshot.again" || name == "snapshot.extremes";
    EXPECT_EQ(check["verdict"], hung ? "failed" : behind ? "not run" : "passed") << check;
    if (!hung && !behind) continue;
    EXPECT_EQ(check["reason"], "kelp2_get_snap_byname did not return within 0.5 s");
  }
  EXPECT_EQ(left_in(folder.path("store")), kNothingLeft);
}

// What a run says of its data: that of each sort there was some.
void expect_coverage(const json &report) {
  std::map<std::string, std::string> findings;
  for (const json &finding : report["findings"]) findings[finding["question"]] = finding["answer"];
  int zero = 0, small = 0, wide = 0, negative = 0, below = 0, all = 0;
  EXPECT_EQ(sscanf(findings["Of the data's statuses"].c_str(),
                   "%d are 0, %d small, %d need 16 bits, %d are negative", &zero, &small, &wide,
                   &negative),
            4);
  EXPECT_EQ(sscanf(findings["Of the data's values"].c_str(), "%d of %d are negative", &below, &all),
            2);
  EXPECT_THAT((std::vector{zero, small, wide, negative, below, all - below}), Each(Gt(0)));
  EXPECT_EQ(zero + small + wide, all);
}

TEST(Report, IsCompleteInEveryFormWhateverTheNamesAre) {
  const TempFolder folder;
  const std::string host = "file:" + folder.path("store");
  Process run(
      command(host, {"--points=3", "--samples=20", "--prefix", "<&\"'\x01>", "-Psecret word",
                     "--only=connection", "--only=history", "--json", folder.path("json"),
                     "--junit", folder.path("junit"), "--html", folder.path("html")}),
      with_fault("init:tells the password"));
  EXPECT_EQ(run.wait(60s), kPassed) << run.output() << run.errors();
  const json report = json::parse(contents(folder.path("json")));
  EXPECT_EQ(report["verdict"], "passed");
  EXPECT_EQ(report["options"]["host"], host);
  const size_t selected = selected_of(all_checks(), {"connection", "history"});
  EXPECT_GT(selected, 10u);
  EXPECT_EQ(report["checks"].size(), selected);
  EXPECT_EQ(report["figures"].size(), 40u);
  EXPECT_EQ(report["checks"][0]["library_output"], "login with ***\n");
  expect_coverage(report);
  pugi::xml_document junit, html;
  ASSERT_TRUE(junit.load_file(folder.path("junit").c_str()));
  const pugi::xml_node suite = junit.child("testsuites").child("testsuite");
  EXPECT_EQ(suite.attribute("tests").as_ullong(), selected);
  EXPECT_EQ(suite.select_nodes("testcase").size(), selected);
  ASSERT_TRUE(html.load_file(folder.path("html").c_str()));
  EXPECT_NE(html.select_node("//svg//polyline"), pugi::xpath_node());
  for (const char *form : {"json", "junit", "html"}) {
    const std::string text = contents(folder.path(form));
    EXPECT_EQ(text.find("secret word"), std::string::npos) << form;
    EXPECT_EQ(text.find('\x01'), std::string::npos) << form;
    EXPECT_EQ(text.find("src="), std::string::npos) << form;
  }
}

TEST(Report, WrongUsageAndWhatCannotBeWrittenIsStatusTwoAndALine) {
  const TempFolder folder;
  const std::string host = "file:" + folder.path("store");
  const std::pair<Words, std::string> cases[] = {
      {{"--json", "/dev/full"}, "cannot write /dev/full: No space left on device"},
      {{"--html", folder.path("none/report")}, "No such file or directory"},
      {{"--only", "nosuch"}, "no check matches \"nosuch\""},
      {{"--expect", folder.path("none")}, "cannot read " + folder.path("none")},
      {{"--points", "0"}, "--points"},
      {{"--prefix", "A.B"}, "--prefix"},
      {{"--password-file", folder.path("none")}, "cannot read"},
      {{"--json", "-", "--html=-"}, "only one report"},
      {{"--bogus"}, "--bogus"}};
  for (const auto &[options, complaint] : cases) {
    Words words = command(host, {"--only=connection.status", "--samples=1"});
    words.insert(words.end(), options.begin(), options.end());
    Process run(words);
    EXPECT_EQ(run.wait(30s), kRefused) << complaint;
    EXPECT_NE(run.errors().find(complaint), std::string::npos) << run.errors();
  }
  Process full({"sh", "-c", CHECK_PROGRAM " -H" + host + " --only connection.status > /dev/full"});
  EXPECT_EQ(full.wait(30s), kRefused);
  EXPECT_NE(full.errors().find("standard output"), std::string::npos);
  Process unreachable(command("127.0.0.1", {"-C" + std::to_string(free_port())}));
  EXPECT_EQ(unreachable.wait(30s), kNoConnection) << unreachable.output();
}

TEST(Interrupted, TheTreeIsRemovedAndWhatWasFoundIsReported) {
  const std::pair<int, Words> cases[] = {{SIGINT, {"-PnobodySees"}},
                                         {SIGTERM, {"-P", "i-nobodySees"}}};
  for (const auto &[signal_number, password] : cases) {
    const TempFolder folder;
    const std::string report = folder.path("json");
    Words words = command("file:" + folder.path("store"), {"--json", report});
    words.insert(words.end(), password.begin(), password.end());
    Process run(words);
    ASSERT_TRUE(run.wait_for_output("values.byid.roundtrip", 60s)) << run.errors();
    const std::string line = contents("/proc/" + std::to_string(run.pid()) + "/cmdline");
    EXPECT_EQ(line.find("nobodySees"), std::string::npos);
    run.signal(signal_number);
    EXPECT_EQ(run.wait(30s), 128 + signal_number);
    const json result = json::parse(contents(report));
    EXPECT_EQ(result["verdict"], "interrupted");
    EXPECT_EQ(result["checks"].front()["verdict"], "passed");
    EXPECT_EQ((result["checks"].rbegin() + 1)->at("reason"), "interrupted");
    EXPECT_EQ(result["checks"].back()["verdict"], "passed");
    EXPECT_EQ(left_in(folder.path("store")), kNothingLeft);
  }
}

TEST(Tree, OfAnEarlierRunIsRemovedWhateverItsSize) {
  const TempFolder folder;
  const std::string host = "file:" + folder.path("store");
  Process kept(command(host, {"--keep", "--nodes=250", "--only=values.later", "--samples=1"}));
  EXPECT_EQ(kept.wait(60s), kPassed) << kept.output();
  EXPECT_NE(left_in(folder.path("store")), kNothingLeft);
  Process other(command(
      host, {"--keep", "--prefix=OTHER", "--only=values.later", "--nodes=1", "--points=5"}));
  EXPECT_EQ(other.wait(60s), kPassed);
  Process next(command(host, {"--only=values.later", "--samples=1"}));
  EXPECT_EQ(next.wait(60s), kPassed) << next.output();
  EXPECT_TRUE(left_in(folder.path("store"))
                  .starts_with("69 "));  // the database, and OTHER's: its claim and two trees
}

}  // namespace kelptest
