// kelpcheck over servers that do differently what the header leaves open: they pass, and their
// habit is shown; one that changes where it is expected to stay is a failure; one that cannot be
// found out leaves the verdict open. And before a few that do what it forbids, without --expect.
#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "check_run.h"

namespace kelptest {

using nlohmann::json;
using testing::HasSubstr;

namespace {

constexpr int kUnknown = 4;

// A run of some checks, with a report of each form.
class HabitRun {
 public:
  HabitRun(const Words &checks, const Words &variables, const Words &options = {})
      : process_(command("file:" + folder_.path("store"), words_for(checks, options)), variables) {}

  int wait() { return process_.wait(60s).value_or(-1); }
  std::string output() const { return process_.output() + process_.errors(); }
  std::string path(const std::string &form) const { return folder_.path(form); }
  json report() const { return json::parse(contents(path("json"))); }
  // The entry of a list of the report that has this under the key.
  json entry(const char *list, const char *key, const std::string &value) const {
    const json whole = report();
    for (const json &one : whole[list]) {
      if (one[key] == value) return one;
    }
    ADD_FAILURE() << "no " << value << " in " << output();
    return {};
  }

 private:
  Words words_for(const Words &checks, const Words &options) const {
    Words words{"--points=12", "--samples=20", "--settle=0.3", "--json",
                path("json"),  "--junit",      path("junit")};
    for (const std::string &check : checks) words.push_back("--only=" + check);
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  TempFolder folder_;
  Process process_;
};

// Before the planted server of that name, whose state is beside its store.
Words planted(const std::string &name, const TempFolder &folder) {
  return {"LD_LIBRARY_PATH=" PLANTED_FOLDER, "KELP_PLANTED=" + name,
          "KELP_PLANTED_STATE=" + folder.path("state")};
}

}  // namespace

struct HonestServer {
  std::string name, check, code, answer;
};

void PrintTo(const HonestServer &server, std::ostream *out) { *out << server.name; }

class Honest : public testing::TestWithParam<HonestServer> {};

TEST_P(Honest, ServerPassesAndItsHabitIsShown) {
  const auto &[name, check, code, answer] = GetParam();
  const TempFolder folder;
  HabitRun run({check}, planted(name, folder));
  EXPECT_EQ(run.wait(), kPassed) << run.output();
  const json habit = run.entry("habits", "code", code);
  EXPECT_EQ(habit["answer"], answer);
  EXPECT_EQ(habit["differs"], true);
  const std::string question = habit["question"];
  EXPECT_THAT(run.output(), HasSubstr("Unlike the bundled library\n"));
  EXPECT_THAT(run.output(), HasSubstr("  " + question + " " + answer + " (bundled: "));
}

INSTANTIATE_TEST_SUITE_P(
    Server, Honest,
    testing::ValuesIn(std::vector<HonestServer>{
        {"readable_after_30ms", "history.byid.roundtrip", "waiting", "within --settle"},
        {"end_counted_in", "history.ranges", "range.end", "inside it"},
        {"first_row_stays", "history.overwrite", "history.second", "is ignored, the first stays"},
        {"older_keeps_current", "values.later", "current.older", "is ignored"},
        {"realtime_not_in_history", "server.ways", "current.history", "not in the history"},
        {"snapshots_interpolated", "snapshot.byid.roundtrip", "snapshot.between",
         "one on the line between them"},
        {"cache_never", "cache.one.roundtrip", "cache.history", "not while the run waits for them"},
        {"before_1970_refused", "sweep.times.history", "times.before_1970", "refused"},
        {"ax_is_float", "server.numbers", "value.ax_wide", "rounded"},
        {"negative_zero_is_zero", "server.numbers", "value.negative_zero", "changed"},
        {"one_session", "connection.second_session", "session.second", "refused"},
        {"nodes_go_with_their_points", "server.tree", "tree.delete_full_node", "deletes them too"},
        {"statistics_at_end", "statistics.byid", "statistics.time", "the interval's end"},
        {"linear_average", "statistics.byid", "statistics.avg",
         "straight lines between values, the last one held to the interval's end"}}),
    [](const auto &instance) { return instance.param.name; });

TEST(Faulty, ServersAreFoundByTheCheckThatIsThereForThem) {
  const struct {
    const char *name, *only, *found_by;
  } cases[] = {{"unknown_objects_invented", "connection.status", "run.open"},
               {"deleted_points_still_read", "tree.deleted", "tree.deleted"},
               {"ids_ignore_database", "sweep.names.near", "sweep.names.near"},
               {"list_cuts_name_at_underscore", "sweep.names.near", "sweep.names.near"},
               {"mintime_off_before_1970", "sweep.statistics.eras", "sweep.statistics.eras"}};
  for (const auto &[name, only, found_by] : cases) {
    const TempFolder folder;
    HabitRun run({only}, planted(name, folder));
    EXPECT_EQ(run.wait(), kFailed) << name << run.output();
    EXPECT_THAT(run.output(), HasSubstr(std::string("FAILED   ") + found_by));
  }
}

// An upgrade, as it were: the report is of the bundled library, the server then another one.
TEST(Habit, ThatIsNotTheOneOfAnEarlierReportIsShownOldAndNew) {
  const TempFolder folder;
  HabitRun before({"history.overwrite"}, {});
  EXPECT_EQ(before.wait(), kPassed) << before.output();
  HabitRun same({"history.overwrite"}, {}, {"--expect", before.path("json")});
  HabitRun other({"history.overwrite"}, planted("first_row_stays", folder),
                 {"--expect", before.path("json")});
  EXPECT_EQ(same.wait(), kPassed) << same.output();
  EXPECT_EQ(other.wait(), kFailed) << other.output();
  const json difference = other.entry("checks", "name", "habits.second_value")["first_difference"];
  const std::string where = difference["where"], expected = difference["expected"],
                    got = difference["got"];
  EXPECT_THAT(where, HasSubstr("A second value at the same time: "));
  EXPECT_THAT(expected, HasSubstr("replaces the first, as " + before.path("json") + " showed"));
  EXPECT_THAT(got, HasSubstr("is ignored, the first stays ("));
}

TEST(Habit, ThatCannotBeFoundOutLeavesTheVerdictOpenAndIsNamed) {
  const struct {
    const char *fault, *check, *code, *question;
  } cases[] = {{"write_histroy_byid:adds", "history.overwrite", "history.second",
                "unknown: A second value at the same time ... "},
               {"fetch_stat_value:avg of its own", "statistics.byid", "statistics.avg",
                "unknown: Statistics: avg is by ... (by none of the definitions known here)"}};
  for (const auto &[fault, check, code, question] : cases) {
    HabitRun run({check}, with_fault(fault));
    EXPECT_EQ(run.wait(), kUnknown) << run.output();
    EXPECT_THAT(run.output(), HasSubstr(question));
    EXPECT_THAT(run.output(), HasSubstr("\nUNKNOWN: "));
    EXPECT_EQ(run.report()["verdict"], "unknown");
    EXPECT_EQ(run.report()["exit_status"], kUnknown);
    EXPECT_EQ(run.entry("habits", "code", code)["state"], "unknown");
    EXPECT_EQ(run.entry("checks", "name", check)["verdict"], "unknown");
    pugi::xml_document junit;
    ASSERT_TRUE(junit.load_file(run.path("junit").c_str()));
    const pugi::xml_node suite = junit.child("testsuites").child("testsuite");
    EXPECT_EQ(suite.attribute("errors").as_int(), 1);
    EXPECT_EQ(suite.attribute("failures").as_int(), 0);
    const std::string name = std::string("testcase[@name='") + check + "']/error";
    const pugi::xml_node error = suite.select_node(name.c_str()).node();
    EXPECT_THAT(error.attribute("message").value(), HasSubstr(question));
  }
}

TEST(Habit, ThatCannotBeFoundOutCountsLessThanAFailure) {
  HabitRun run({"history.overwrite", "sweep.overwrite"}, with_fault("write_histroy_byid:adds"));
  EXPECT_EQ(run.wait(), kFailed) << run.output();
  EXPECT_EQ(run.report()["verdict"], "failed");
  EXPECT_EQ(run.entry("checks", "name", "history.overwrite")["verdict"], "unknown");
  EXPECT_EQ(run.entry("checks", "name", "sweep.overwrite")["verdict"], "failed");
  EXPECT_THAT(run.output(), HasSubstr("1 failed, 1 unknown"));
}

}  // namespace kelptest
