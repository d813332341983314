// Checks: verdicts, habits and the times of the operations.
#include <algorithm>
#include <map>
#include <set>

#include "compare/compare.h"
#include "compare/timed.h"
#include "result/text.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

std::map<std::string, std::string> texts_of(const json &list, const char *key, const char *value) {
  std::map<std::string, std::string> texts;
  for (const json &entry : list) texts[text_in(entry, key)] = text_in(entry, value);
  return texts;
}

Change change_of(const std::string &before, const std::string &after) {
  if (before == after) return Change::same;
  if (before == "passed") return after == "does not apply" ? Change::changed : Change::worse;
  if (after == "passed") return before == "does not apply" ? Change::changed : Change::better;
  return after == "failed" ? Change::worse : Change::changed;
}

void compare_verdicts(const json &before, const json &after, Comparison &to) {
  const auto old_checks = texts_of(list_in(before, "checks"), "name", "verdict");
  ComparisonSection section{"Checks", {}};
  std::vector<std::string> added;
  const auto new_checks = texts_of(list_in(after, "checks"), "name", "verdict");
  for (const auto &[name, verdict] : new_checks) {
    const auto old_check = old_checks.find(name);
    if (old_check == old_checks.end()) {
      added.push_back(name);
      continue;
    }
    const Change change = change_of(old_check->second, verdict);
    section.lines.push_back(
        {name, change, change == Change::same ? verdict : verdict + ", was " + old_check->second});
  }
  to.sections.push_back(section);
  if (!added.empty())
    to.notes.push_back(
        text(added.size(), " checks are only in the new report, such as ", added[0]));
  const size_t gone = old_checks.size() + added.size() - new_checks.size();
  if (gone > 0) to.notes.push_back(text(gone, " checks are only in the old report"));
}

// Habits by their codes; reports without them have findings, which are questions and answers too.
void compare_habits(const json &before, const json &after, Comparison &to) {
  const bool habits = before.contains("habits") && after.contains("habits");
  const char *list = habits ? "habits" : "findings";
  const char *key = habits ? "code" : "question";
  const auto old_answers = texts_of(list_in(before, list), key, "answer");
  ComparisonSection section{"Habits", {}};
  for (const json &entry : list_in(after, list)) {
    const auto old_answer = old_answers.find(text_in(entry, key));
    const std::string answer = text_in(entry, "answer");
    if (old_answer == old_answers.end()) continue;
    const bool same = old_answer->second == answer;
    const Change change = same ? Change::same : Change::changed;
    const std::string words = same ? answer : answer + ", was " + old_answer->second;
    section.lines.push_back({text_in(entry, "question"), change, words});
  }
  to.sections.push_back(section);
}

std::vector<MeanOfCalls> batches_of(const json &figure) {
  const json &batches = object_in(figure, "batches");
  const json &calls = list_in(batches, "calls"), &seconds = list_in(batches, "seconds");
  std::vector<MeanOfCalls> means;
  for (size_t i = 0; i < std::min(calls.size(), seconds.size()); ++i) {
    const bool numbers = calls[i].is_number() && seconds[i].is_number();
    if (numbers) means.push_back({calls[i].get<int64_t>(), seconds[i].get<double>()});
  }
  return means;
}

// What makes other calls. Without the same ones times say nothing.
std::string other_calls(const json &before, const json &after) {
  const json &old_options = object_in(before, "options"),
             &new_options = object_in(after, "options");
  for (const char *name : {"points", "nodes", "samples", "only", "skip"}) {
    if (old_options.value(name, json()) != new_options.value(name, json())) return name;
  }
  return "";
}

// Operations that need no server, so that a slower one is a slower machine.
bool is_local(const std::string &operation) {
  static const std::set<std::string> local{
      "kelp2_encode_time",       "kelp2_decode_time",    "kelp2_new_group",
      "kelp2_add_group_point",   "kelp2_free_group",     "kelp2_new_object",
      "kelp2_object_set_string", "kelp2_object_set_int", "kelp2_object_set_double",
      "kelp2_object_get_string", "kelp2_object_get_int", "kelp2_object_get_double",
      "kelp2_free_object"};
  return local.count(operation) > 0;
}

// How much slower this host was in the second run, as the operations show that need no server: no
// operation is blamed for that.
double shift_of_machine(const std::vector<Timed> &all) {
  std::vector<double> shifts;
  for (const Timed &timed : all) {
    if (is_local(timed.name)) shifts.push_back(timed.estimate.shift);
  }
  return median(shifts);
}

void excuse(Timed &timed, double machine) {
  double &shift = timed.estimate.shift;
  if (shift * machine <= 0) return;
  shift = shift > 0 ? std::max(0.0, shift - machine) : std::min(0.0, shift - machine);
}

void compare_times(const json &before, const json &after, Comparison &to) {
  std::map<std::string, const json *> old_figures;
  for (const json &figure : list_in(before, "figures")) {
    old_figures[text_in(figure, "operation")] = &figure;
  }
  std::vector<Timed> all;
  size_t without = 0;
  ComparisonSection section{"Time of a call (median)", {}};
  for (const json &figure : list_in(after, "figures")) {
    const std::string name = text_in(figure, "operation");
    const auto old_figure = old_figures.find(name);
    const bool called = number_in(figure, "calls") > 0 && old_figure != old_figures.end() &&
                        number_in(*old_figure->second, "calls") > 0;
    if (!called) continue;
    const auto difference = shift_of(batches_of(*old_figure->second), batches_of(figure));
    if (!difference) {
      ++without;
      section.lines.push_back({name, Change::unknown, "too few calls to tell a difference"});
      continue;
    }
    all.push_back({name, number_in(*old_figure->second, "median"), number_in(figure, "median"),
                   *difference, is_local(name)});
  }
  const double machine = shift_of_machine(all);
  for (Timed &timed : all) excuse(timed, machine);
  for (const ComparisonLine &line : judge_all(all, to.tolerance)) section.lines.push_back(line);
  constexpr double little = 0.02;
  if (std::abs(machine) > little) {
    to.notes.push_back(
        text("operations that need no server took ", change_text(std::expm1(std::abs(machine))),
             machine > 0 ? " more" : " less", " time: that is attributed to the machine"));
  }
  if (all.empty() && without == 0)
    to.notes.push_back("the reports do not have what is needed to compare times");
  to.sections.push_back(section);
}

}  // namespace

void compare_checks(const ReportFile &before, const ReportFile &after, Comparison &to) {
  compare_verdicts(before.json, after.json, to);
  compare_habits(before.json, after.json, to);
  const std::string other = other_calls(before.json, after.json);
  if (other.empty()) {
    compare_times(before.json, after.json, to);
  } else {
    to.notes.push_back("times are not compared: with another --" + other +
                       " the calls are different");
  }
}

}  // namespace kelpcheck
