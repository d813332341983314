// What a comparison makes of two reports of loads or watches that differ in one thing, and of files
// that are no reports.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "compare/compare.h"
#include "support/process.h"

namespace kelpcheck {

using nlohmann::json;
using Edit = std::function<void(json &report)>;

class CompareReports : public testing::Test {
 protected:
  std::string write(const char *name, const std::string &contents) const {
    const std::string path = folder_.path(name);
    std::ofstream(path, std::ios::binary) << contents;
    return path;
  }
  Comparison compared(const json &before, const json &after) const {
    const ReportFile old_file(write("old.json", before.dump()));
    return compare(old_file, ReportFile(write("new.json", after.dump())), 0.1, false);
  }
  // Why they cannot be compared: one line.
  std::string refusal(const json &before, const json &after) const {
    try {
      return "compared as " + compared(before, after).verdict();
    } catch (const NotComparable &reason) {
      return reason.what();
    }
  }

  kelptest::TempFolder folder_;
};

// The line of that name: "worse: 2, was 0".
std::string line_of(const Comparison &comparison, const std::string &name) {
  for (const ComparisonSection &section : comparison.sections) {
    for (const ComparisonLine &line : section.lines) {
      if (line.name == name) return std::string(name_of(line.change)) + ": " + line.words;
    }
  }
  return "no such line";
}

json stage(const std::string &purpose, double rate, double seconds) {
  json batches = json::array();
  for (int i = 0; i < 16; ++i) {
    const double noisy = seconds * (1 + 0.002 * (i % 3));
    batches.push_back({{"calls", 20}, {"median", noisy}, {"p95", 2 * noisy}});
  }
  return {{"purpose", purpose}, {"offered", rate},
          {"kept_up", true},    {"latency", {{"median", seconds}, {"p95", 2 * seconds}}},
          {"reason", ""},       {"batches", batches}};
}

json load_report() {
  return {{"form", "kelpcheck"},
          {"form_version", 1},
          {"mode", "load"},
          {"verdict", "measured"},
          {"options", {{"do", "write"}, {"points", 1000}, {"sessions", 1}, {"within", 0.1}}},
          {"stages", {stage("50 % of the limit", 50'000, 0.01)}},
          {"limit", {{"rows_per_second", 100'000}, {"limited_by", "server"}}}};
}

Edit limit(double rate, const char *limited_by) {
  return [=](json &report) {
    report["limit"] = {{"rows_per_second", rate}, {"limited_by", limited_by}};
  };
}

Edit at_fixed_rate(bool kept_up, double seconds) {
  return [=](json &report) {
    report.erase("limit");
    report["stages"] = {stage("rate", 5000, seconds)};
    report["stages"][0]["kept_up"] = kept_up;
    report["stages"][0]["reason"] = kept_up ? "" : "the backlog grows";
  };
}

const Edit kNothing = [](json &) {};

TEST_F(CompareReports, OfLoadsJudgeTheLimitTheRowsAndTheTimes) {
  const char *most = "values per second at most", *median = "median at 50k values/s";
  const char *keeps = "keeps up with 5k";
  const struct {
    const char *what;
    Edit before, after;
    const char *line, *told;
    const char *verdict;
  } cases[] = {
      {"the same", kNothing, kNothing, most, "no difference: 100,000, was", "no difference"},
      {"less, within", kNothing, limit(84'000, "server"), most, "no difference", "no difference"},
      {"less", kNothing, limit(80'000, "server"), most, "worse: 80,000, was 100,000", "worse"},
      {"more, within", kNothing, limit(119'000, "server"), most, "no difference", "no difference"},
      {"more", kNothing, limit(130'000, "server"), most, "better: 130,000, was 100,000", "better"},
      {"less at least", kNothing, limit(50'000, "client"), most, "not compared", "no difference"},
      {"so much at least", limit(9e4, "none"), kNothing, most, "not compared", "no difference"},
      {"more than at least", limit(5e4, "client"), kNothing, most, "not compared", "no difference"},
      {"at least more", kNothing, limit(9e6, "client"), most, "better", "better"},
      {"less than at least", limit(9e6, "client"), kNothing, most, "worse", "worse"},
      {"rows wrong now", kNothing, [](json &r) { r["verdict"] = "failed"; }, "rows read back",
       "worse: not as written", "worse"},
      {"rows right now", [](json &r) { r["verdict"] = "failed"; }, kNothing, "rows read back",
       "better: as written", "better"},
      {"slower", kNothing, [](json &r) { r["stages"] = {stage("50 % of the limit", 5e4, 0.03)}; },
       median, "worse: 30 ms, was 10 ms: slower", "worse"},
      {"faster", [](json &r) { r["stages"] = {stage("50 % of the limit", 5e4, 0.03)}; }, kNothing,
       median, "better", "better"},
      {"about the same rate", kNothing,
       [](json &r) { r["stages"] = {stage("50 % of the limit", 4.8e4, 0.01)}; },
       "median at 48k values/s", "no difference", "no difference"},
      {"keeps up", at_fixed_rate(true, 0.01), at_fixed_rate(true, 0.01), keeps,
       "no difference: yes", "no difference"},
      {"no longer", at_fixed_rate(true, 0.01), at_fixed_rate(false, 0.01), keeps,
       "worse: no longer: the backlog grows", "worse"},
      {"again", at_fixed_rate(false, 0.01), at_fixed_rate(true, 0.01), keeps, "better: yes",
       "better"},
  };
  for (const auto &c : cases) {
    json before = load_report(), after = load_report();
    c.before(before);
    c.after(after);
    const Comparison comparison = compared(before, after);
    EXPECT_EQ(line_of(comparison, c.line).find(c.told), 0u)
        << c.what << ": " << line_of(comparison, c.line);
    EXPECT_EQ(comparison.verdict(), c.verdict) << c.what;
  }
}

TEST_F(CompareReports, OfLoadsThatMeasuredOtherThingsAreRefused) {
  const struct {
    Edit after;
    const char *told;
  } cases[] = {
      {[](json &r) { r["options"]["do"] = "read"; }, "differ in --do"},
      {[](json &r) { r["options"]["points"] = 10; }, "differ in --points"},
      {[](json &r) { r["options"]["sessions"] = 2; }, "differ in --sessions"},
      {[](json &r) { r["options"]["within"] = 1; }, "differ in --within"},
      {[](json &r) { r["options"]["rows"] = 7; }, "differ in --rows"},
      {limit(0, "server"), "found no rate"},
      {at_fixed_rate(true, 0.01), "no rate in common"},
      {[](json &r) { r["verdict"] = "nothing measured"; }, "ended with \"nothing measured\""},
      {[](json &r) { r["verdict"] = "interrupted"; }, "ended with \"interrupted\""},
      {[](json &r) { r["mode"] = "watch"; }, "of a load"},
  };
  for (const auto &c : cases) {
    json after = load_report();
    c.after(after);
    const std::string told = refusal(load_report(), after);
    EXPECT_NE(told.find(c.told), std::string::npos) << c.told << ": " << told;
  }
}

json check_report(const char *verdict) {
  return {{"form", "kelpcheck"},
          {"form_version", 1},
          {"verdict", "passed"},
          {"checks", {{{"name", "history.ranges"}, {"verdict", verdict}}}}};
}

TEST_F(CompareReports, OfChecksJudgeEachByItsVerdicts) {
  const struct {
    const char *before, *after, *change;
  } cases[] = {{"passed", "failed", "worse"},           {"passed", "unknown", "worse"},
               {"passed", "does not apply", "changed"}, {"failed", "passed", "better"},
               {"unknown", "passed", "better"},         {"does not apply", "passed", "changed"},
               {"unknown", "failed", "worse"},          {"does not apply", "failed", "worse"},
               {"failed", "unknown", "changed"},        {"failed", "failed", "no difference"}};
  for (const auto &[before, after, change] : cases) {
    const Comparison comparison = compared(check_report(before), check_report(after));
    EXPECT_EQ(line_of(comparison, "history.ranges").find(change + std::string(": ") + after), 0u)
        << before << ", " << after << ": " << line_of(comparison, "history.ranges");
    EXPECT_EQ(comparison.verdict(), change) << before << ", " << after;
  }
}

json watch_report() {
  return {{"form", "kelpcheck"},
          {"form_version", 1},
          {"mode", "watch"},
          {"verdict", "passed"},
          {"options", {{"points", 50}, {"every", 2}}},
          {"samples", {{"acknowledged", 5000}, {"lost", 0}, {"changed", 0}, {"foreign", 0}}},
          {"stale_reads", 0},
          {"foreign_reads", 0},
          {"holes", 0},
          {"outages", {{{"seconds", 3}}, {{"seconds", 10}}}},
          {"stalls", {{{"seconds", 10}}}},
          {"writes", {{"longest", 0.5}}}};
}

TEST_F(CompareReports, OfWatchesJudgeWhatWasLostAndHowLongOutagesTook) {
  const Edit lost = [](json &r) { r["samples"]["lost"] = 3; };
  const Edit failed = [](json &r) { r["verdict"] = "failed"; };
  const Edit unknown = [](json &r) { r["verdict"] = "unknown"; };
  const auto longest = [](const char *list, double seconds) {
    return [=](json &r) { r[list] = {{{"seconds", seconds}}, {{"seconds", 3}}}; };
  };
  const struct {
    const char *what;
    Edit before, after;
    const char *line, *told;
    const char *verdict;
  } cases[] = {
      {"the same", kNothing, kNothing, "lost", "no difference: 0", "no difference"},
      {"lost", kNothing, lost, "lost", "worse: 3, was 0", "worse"},
      {"no longer lost", lost, kNothing, "lost", "better: 0, was 3", "better"},
      {"changed", kNothing, [](json &r) { r["samples"]["changed"] = 1; }, "changed", "worse",
       "worse"},
      {"stale", kNothing, [](json &r) { r["stale_reads"] = 1; }, "stale reads", "worse", "worse"},
      {"holes", kNothing, [](json &r) { r["holes"] = 1; }, "holes", "worse", "worse"},
      {"beyond all numbers", kNothing, [](json &r) { r["samples"]["lost"] = 1e300; }, "lost",
       "worse", "worse"},
      {"longer, within two steps", kNothing, longest("outages", 14.5), "longest",
       "no difference: 14.5 s, was 10 s: no difference seen; 5 s or more", "no difference"},
      {"longer", kNothing, longest("outages", 15.5), "longest", "worse: 15.5 s, was 10 s", "worse"},
      {"shorter, within", kNothing, longest("outages", 5.5), "longest", "no difference",
       "no difference"},
      {"shorter", kNothing, longest("outages", 4.5), "longest", "better", "better"},
      {"no outage", kNothing, [](json &r) { r["outages"] = json::array(); }, "number",
       "changed: 0, was 2", "changed"},
      {"stalls", [](json &r) { r["outages"] = json::array(); },
       [](json &r) {
         r["outages"] = r["stalls"];
         r["stalls"] = {{{"seconds", 30}}};
       },
       "longest", "worse: 10 s, was 0", "worse"},
      {"failed", kNothing, failed, "verdict", "worse: failed, was passed", "worse"},
      {"unknown", kNothing, unknown, "verdict", "worse: unknown, was passed", "worse"},
      {"passed", failed, kNothing, "verdict", "better: passed, was failed", "better"},
      {"a slow write", kNothing, [](json &r) { r["writes"]["longest"] = 9; }, "longest write",
       "no difference: 9 s, was 500 ms", "no difference"},
  };
  for (const auto &c : cases) {
    for (const char *mode : {"watch", "verify"}) {
      json before = watch_report(), after = watch_report();
      before["mode"] = after["mode"] = mode;
      c.before(before);
      c.after(after);
      const Comparison comparison = compared(before, after);
      EXPECT_EQ(line_of(comparison, c.line).find(c.told), 0u)
          << c.what << ": " << line_of(comparison, c.line);
      EXPECT_EQ(comparison.verdict(), c.verdict) << c.what;
    }
  }
  json points = watch_report();
  points["options"]["points"] = 51;
  EXPECT_NE(refusal(watch_report(), points).find("points"), std::string::npos);
}

TEST_F(CompareReports, AFileThatIsNoReportIsRefusedInOneLine) {
  const std::string whole = load_report().dump(), deep(100'000, '[');
  json no_verdict = load_report(), nothing = watch_report(), version = load_report();
  no_verdict.erase("verdict");
  nothing["samples"] = 7;
  version["form_version"] = "one";
  const json neither{{"form", "kelpcheck"}, {"form_version", 1}, {"verdict", "passed"}};
  const struct {
    std::string contents;
    const char *told;
  } cases[] = {
      {"", "is not JSON"},
      {whole.substr(0, whole.size() / 2), "is not JSON"},
      {std::string("\0\xff\x1b[31m", 7), "is not JSON"},
      {deep + std::string(deep.size(), ']'), "too deep"},
      {"{\"form\":\"kelpcheck\",\"options\":" + deep, "too deep"},
      {"[]", "not a JSON report of kelpcheck"},
      {"{\"form\":\"another program's\",\"form_version\":1}", "not a JSON report of kelpcheck"},
      {version.dump(), "has version 0 of the form"},
      {no_verdict.dump(), "has no verdict"},
      {nothing.dump(), "has no samples"},
      {neither.dump(), "nothing in common"},
      {"{\"form\":\"kelpcheck\",\"form_version\":1,\"verdict\":\"passed\",\"mode\":[]}",
       "of a kind"},
  };
  for (const auto &c : cases) {
    const std::string path = write("odd.json", c.contents);
    try {
      const ReportFile report(path);
      compare(report, report, 0.1, false);
      ADD_FAILURE() << "compared: " << c.told;
    } catch (const NotComparable &reason) {
      const std::string told = reason.what();
      EXPECT_NE(told.find(c.told), std::string::npos) << told;
      EXPECT_LT(told.size(), 200 + path.size());
      EXPECT_EQ(told.find('\n'), std::string::npos);
    }
  }
  for (const std::string &path : {folder_.path(), folder_.path("none")}) {
    EXPECT_THROW(ReportFile{path}, NotComparable) << path;
  }
}

// Whatever is missing or of another type is not there; what a comparison then says is its own.
TEST_F(CompareReports, OneDamagedFieldNeverEndsTheProgram) {
  const std::vector<json> odd = {json(), json("text"), json(-1e300),
                                 json::array({1, "two", json::object()}),
                                 json::object({{"calls", "x"}})};
  for (const json &whole : {load_report(), watch_report()}) {
    const json flat = whole.flatten();
    for (const auto &[pointer, value] : flat.items()) {
      const bool again = pointer.find("batches/") != pointer.npos && !pointer.ends_with("/3/p95");
      for (const json &other : again ? std::vector<json>{} : odd) {
        json damaged = whole;
        damaged[json::json_pointer(pointer)] = other;
        EXPECT_FALSE(refusal(whole, damaged).empty());
        EXPECT_FALSE(refusal(damaged, whole).empty());
      }
    }
  }
}

}  // namespace kelpcheck
