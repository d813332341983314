// What the reports of a load show: the sentence about the limit, the fields of the JSON form, and
// the page.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "report/load_reports.h"
#include "report/load_words.h"

namespace kelpcheck {

LoadStage stage_of(const std::string &purpose, double rate, bool kept_up) {
  LoadStage stage;
  stage.purpose = purpose;
  stage.offered = rate;
  stage.achieved = rate * 0.98;
  stage.calls = 300;
  stage.failures = 2;
  stage.latency = {0.001, 0.002, 0.003, 0.004, 0.005};
  stage.kept_up = kept_up;
  stage.limited_by = kept_up ? LimitedBy::none : LimitedBy::server;
  stage.reason = kept_up ? "" : "the backlog <grows>";
  return stage;
}

LoadReport searched_report() {
  LoadReport report;
  report.connected = true;
  report.searched = true;
  report.sessions = 1;
  report.within = 0.1;
  report.burst = 300'000;
  report.limit = {212'000, LimitedBy::server, true, 224'000, "the backlog <grows>"};
  report.stages = {stage_of("climb", 224'000, false), stage_of("confirmation", 212'000, true)};
  report.last_seconds = {{212'000, 210'000, 0, 0.003, 1}};
  report.texts = {{"host", "file:a<b"}};
  report.numbers = {{"points", 1000}};
  return report;
}

TEST(LoadReport, SaysTheLimitInOneSentence) {
  const char *keeps =
      "takes 212,000 values/s over 1 session with 99 % of calls within 100 ms; at "
      "224,000 the backlog <grows>";
  const struct {
    const char *what;
    void (*edit)(LoadReport &report);
    std::string sentence;
    const char *verdict;
    int status;
  } cases[] = {
      {"a limit", [](LoadReport &) {}, keeps, "measured", 0},
      {"this program's own", [](LoadReport &r) { r.limit.limited_by = LimitedBy::client; },
       "takes at least 212,000 values/s over 1 session with 99 % of calls within 100 ms; at "
       "224,000 the backlog <grows>, which is the limit of this program itself",
       "measured", 0},
      {"not confirmed, the seconds ran out",
       [](LoadReport &r) {
         r.limit = {212'000, LimitedBy::none, false, 0, "the seconds ran out"};
         r.sessions = 3;
       },
       "takes at least 212,000 values/s over 3 sessions with 99 % of calls within 100 ms (not "
       "confirmed by a second run); the seconds ran out",
       "measured", 0},
      {"none",
       [](LoadReport &r) {
         r.limit = {0, LimitedBy::server, false, 9, "it is slow"};
       },
       "keeps up with none of the rates that were tried: it is slow", "measured", 0},
      {"interrupted in its first stage",
       [](LoadReport &r) {
         r.limit = {};
         r.interrupted = 2;
         r.stages.pop_back();
       },
       "219,520 of 224,000 values/s over 1 session, 2 of 300 calls failed, 99 % within 3 ms, "
       "longest 5 ms; does not keep up: the backlog <grows>",
       "interrupted", 130},
      {"nothing",
       [](LoadReport &r) {
         r.stages.clear();
         r.limit = {};
       },
       "nothing was measured", "nothing measured", 4},
      {"all failed",
       [](LoadReport &r) {
         r.searched = false;
         r.stages = {stage_of("rate", 1000, false)};
         r.stages[0].failures = 300;
       },
       "980 of 1,000 values/s over 1 session, 300 of 300 calls failed; does not keep up: the "
       "backlog <grows>",
       "nothing measured", 4},
      {"rows wrong",
       [](LoadReport &r) {
         r.evidence.compared = 10;
         r.evidence.that(
             false, [] { return "row 7"; }, "1", "2");
       },
       "row 7: expected 1, got 2; 1 differences in 11 values read back", "failed", 1},
  };
  for (const auto &c : cases) {
    LoadReport report = searched_report();
    c.edit(report);
    EXPECT_EQ(report.summary(), c.sentence) << c.what;
    EXPECT_EQ(report.verdict(), c.verdict) << c.what;
    EXPECT_EQ(report.exit_status(), c.status) << c.what;
  }
}

TEST(LoadReport, HasTheFieldsThatProgramsRead) {
  const auto json = nlohmann::json::parse(load_json(searched_report()));
  EXPECT_EQ(json["mode"], "load");
  EXPECT_EQ(json["form"], "kelpcheck");
  EXPECT_EQ(json["options"]["points"], 1000);
  ASSERT_EQ(json["stages"].size(), 2u);
  const auto &stage = json["stages"][0];
  EXPECT_EQ(stage["offered"], 224'000);
  EXPECT_EQ(stage["achieved"], 224'000 * 0.98);
  EXPECT_EQ(stage["calls"], 300);
  EXPECT_EQ(stage["failures"], 2);
  const nlohmann::json latency{
      {"median", 0.001}, {"p95", 0.002}, {"p99", 0.003}, {"p99.9", 0.004}, {"longest", 0.005}};
  EXPECT_EQ(stage["latency"], latency);
  EXPECT_EQ(stage["kept_up"], false);
  EXPECT_EQ(stage["limited_by"], "server");
  EXPECT_EQ(json["stages"][1]["limited_by"], "none");
  EXPECT_EQ(json["limit"]["rows_per_second"], 212'000);
  EXPECT_EQ(json["limit"]["limited_by"], "server");
  LoadReport fixed = searched_report();
  fixed.searched = false;
  EXPECT_FALSE(nlohmann::json::parse(load_json(fixed)).contains("limit"));
}

TEST(LoadReport, PageShowsTheLimitTheStagesAndTheirCharts) {
  const std::string page = load_html(searched_report());
  for (const char *part :
       {"takes 212,000 values/s over 1 session", "at 224,000 the backlog &lt;grows&gt;",
        "One call after another", "300k values/s", "<td class=\"wrap\">confirmation</td>",
        "Time of a call by rate", "Values taken and values offered",
        "The last stage, second by second", "file:a&lt;b"}) {
    EXPECT_NE(page.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(page.find("nan"), std::string::npos);
  EXPECT_EQ(page.find("<grows>"), std::string::npos);
}

TEST(LoadReport, PageJoinsTheSecondsOfALongStageAndShowsTheWorstOfThem) {
  LoadReport report = searched_report();
  report.last_seconds.assign(960, {1000, 1000, 0, 0.003, 1});
  for (size_t i = 0; i < 960; i += 2) report.last_seconds[i] = {1000, 1000, 2, 0.25, 1};
  const std::string page = load_html(report);
  const std::string chart = page.substr(page.find("The last stage, second by second"));
  const auto count = [&](const std::string &part) {
    int found = 0;
    for (size_t at = 0; (at = chart.find(part, at)) != chart.npos; ++at) ++found;
    return found;
  };
  const size_t first = chart.find("cy=", chart.find("<circle class=\"median\""));
  const std::string height = chart.substr(first, chart.find(" r=", first) - first);
  EXPECT_EQ(count("<rect class=\"rate\""), 480);
  EXPECT_EQ(count("<circle class=\"median\""), 480);
  EXPECT_EQ(count("<circle class=\"read\""), 480);
  EXPECT_EQ(count(height), 480) << "every column has a slow second";
}

// Nothing to draw is no reason to fail, nor to draw something.
TEST(LoadReport, PageOfALoadWithoutAStageHasNoCharts) {
  LoadReport report = searched_report();
  report.stages.clear();
  report.last_seconds.clear();
  report.limit = {};
  EXPECT_EQ(load_html(report).find("<svg"), std::string::npos);
  report.stages = {stage_of("rate", 1000, false)};
  report.stages[0].latency = {};
  report.last_seconds = {{1000, 0, 20, 0, 7}};
  EXPECT_EQ(load_html(report).find("nan"), std::string::npos);
}

TEST(LoadReport, SaysWhatWasReadBack) {
  LoadReport report = searched_report();
  EXPECT_EQ(read_back_words(report), "nothing");
  report.read_back = true;
  report.read_how = "history";
  EXPECT_EQ(read_back_words(report), "nothing, as no row is known to be there");
  report.evidence.compared = 4000;
  EXPECT_EQ(read_back_words(report), "4,000 rows from history, all as written");
  report.evidence.differences = 7;
  EXPECT_EQ(read_back_words(report), "4,000 rows from history, 7 not as written");
}

}  // namespace kelpcheck
