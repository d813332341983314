// Loads: the limit, and how long calls took at the rates that both have.
#include <algorithm>
#include <cmath>

#include "compare/compare.h"
#include "compare/timed.h"
#include "result/text.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

// The search's own precision, once in each report, and what one more stage would have moved it by.
constexpr double kSearchSteps = 1.05 * 1.05;
// Rates that are the same for people.
constexpr double kSameRate = 1.1;

void require_same_work(const ReportFile &before, const ReportFile &after) {
  const json &old_options = object_in(before.json, "options");
  const json &new_options = object_in(after.json, "options");
  for (const char *name : {"do", "points", "rows", "sessions", "within"}) {
    if (old_options.value(name, json()) == new_options.value(name, json())) continue;
    throw NotComparable(
        text("the two loads differ in --", name, ": they measure different things"));
  }
}

void compare_verdict(const ReportFile &before, const ReportFile &after, Comparison &to) {
  const bool failed = text_in(after.json, "verdict") == "failed";
  const bool failed_before = text_in(before.json, "verdict") == "failed";
  ComparisonLine line{"rows read back", Change::same, "as before"};
  if (failed != failed_before) {
    line.change = failed ? Change::worse : Change::better;
    line.words = failed ? "not as written, were as written" : "as written, were not";
  }
  to.sections.push_back({"Rows", {line}});
}

// A figure whose limit was not the server is the least that the server takes: one that is higher
// and the server's limit says nothing new, one that is lower does.
void compare_limit(const ReportFile &before, const ReportFile &after, Comparison &to) {
  const json &old_limit = object_in(before.json, "limit"),
             &new_limit = object_in(after.json, "limit");
  if (old_limit.empty() || new_limit.empty()) return;
  const double was = number_in(old_limit, "rows_per_second");
  const double is = number_in(new_limit, "rows_per_second");
  if (was <= 0 || is <= 0)
    throw NotComparable("one report found no rate that the server keeps up with");
  const bool at_least_was = text_in(old_limit, "limited_by") != "server";
  const bool at_least_is = text_in(new_limit, "limited_by") != "server";
  const double needed = (1 + to.tolerance) * kSearchSteps;
  const double ratio = is / was;
  ComparisonLine line;
  line.name = "values per second at most";
  line.words = text(with_thousands(std::llround(is)), ", was ", with_thousands(std::llround(was)));
  line.ratio = ratio;
  line.low = ratio / kSearchSteps;
  line.high = ratio * kSearchSteps;
  const std::string smallest = change_text(needed * kSearchSteps - 1) + " or more would have been";
  if (ratio < 1 / needed) {
    line.change = at_least_is ? Change::unknown : Change::worse;
  } else if (ratio > needed) {
    line.change = at_least_was ? Change::unknown : Change::better;
  } else if (at_least_was || at_least_is) {
    line.change = Change::unknown;
  }
  if (line.change == Change::same) line.words += ": no difference seen; " + smallest;
  if (line.change == Change::unknown) {
    line.words += ": not compared, as the server may take more than one of them says";
  } else if (line.change != Change::same) {
    line.words += line.change == Change::worse ? ": less" : ": more";
    line.words += " (" + smallest + " seen)";
  }
  to.sections.push_back({"Limit", {line}});
}

// Stages at one rate. Of the same one, the last.
const json *stage_at(const json &report, double rate) {
  const json *found = nullptr;
  for (const json &stage : list_in(report, "stages")) {
    const double offered = number_in(stage, "offered");
    const bool same = offered > 0 && offered < rate * kSameRate && offered > rate / kSameRate;
    if (same && flag_in(stage, "kept_up")) found = &stage;
  }
  return found;
}

std::vector<MeanOfCalls> batches_of(const json &stage, const char *quantile) {
  std::vector<MeanOfCalls> means;
  for (const json &batch : list_in(stage, "batches")) {
    means.push_back({static_cast<int64_t>(number_in(batch, "calls")), number_in(batch, quantile)});
  }
  return means;
}

// Those that people plan by: at a fixed rate, or at shares of the limit.
bool to_be_compared(const json &stage) {
  const std::string purpose = text_in(stage, "purpose");
  return purpose == "rate" || purpose.ends_with("of the limit");
}

void compare_latencies(const ReportFile &before, const ReportFile &after, Comparison &to) {
  std::vector<Timed> all;
  for (const json &stage : list_in(after.json, "stages")) {
    if (!to_be_compared(stage)) continue;
    const double rate = number_in(stage, "offered");
    const json *old_stage = stage_at(before.json, rate);
    if (old_stage == nullptr || !flag_in(stage, "kept_up")) {
      to.notes.push_back(
          text("at ", rate_text(rate), " values/s there is nothing to compare with: ",
               old_stage == nullptr ? "the old report has no stage of this rate that "
                                      "kept up"
                                    : "the new one did not keep up"));
      continue;
    }
    for (const char *quantile : {"median", "p95"}) {
      const auto difference =
          shift_of(batches_of(*old_stage, quantile), batches_of(stage, quantile));
      if (!difference) continue;
      const std::string name = text(std::string(quantile) == "median" ? "median" : "95 %", " at ",
                                    rate_text(rate), " values/s");
      all.push_back({name, number_in(object_in(*old_stage, "latency"), quantile),
                     number_in(object_in(stage, "latency"), quantile), *difference});
    }
  }
  to.sections.push_back({"Time of a call", judge_all(all, to.tolerance)});
}

void compare_failures(const ReportFile &before, const ReportFile &after, Comparison &to) {
  ComparisonSection section{"At a fixed rate", {}};
  for (const json &stage : list_in(after.json, "stages")) {
    if (text_in(stage, "purpose") != "rate") continue;
    for (const json &old_stage : list_in(before.json, "stages")) {
      if (number_in(old_stage, "offered") != number_in(stage, "offered")) continue;
      const bool kept = flag_in(stage, "kept_up"), kept_before = flag_in(old_stage, "kept_up");
      const std::string reason = text_in(kept ? old_stage : stage, "reason");
      ComparisonLine line{text("keeps up with ", rate_text(number_in(stage, "offered"))),
                          Change::same, kept ? "yes" : "no: " + reason};
      if (kept != kept_before) {
        line.change = kept ? Change::better : Change::worse;
        line.words = kept ? "yes, did not: " + reason : "no longer: " + reason;
      }
      section.lines.push_back(line);
    }
  }
  if (!section.lines.empty()) to.sections.push_back(section);
}

}  // namespace

void compare_load(const ReportFile &before, const ReportFile &after, Comparison &to) {
  require_same_work(before, after);
  compare_verdict(before, after, to);
  compare_limit(before, after, to);
  compare_failures(before, after, to);
  compare_latencies(before, after, to);
  size_t judged = 0;
  for (const ComparisonSection &section : to.sections) judged += section.lines.size();
  const bool only_rows = judged <= 1;
  if (only_rows)
    throw NotComparable("the two loads have no rate in common, and not both have a limit");
}

}  // namespace kelpcheck
