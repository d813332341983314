// Watches and verifications: what was lost, and how long it took to come back.
#include <algorithm>
#include <cmath>

#include "compare/compare.h"
#include "result/text.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

// `rise` is how much more there is now of what nobody wants.
Change change_by(double rise) {
  if (rise > 0) return Change::worse;
  return rise < 0 ? Change::better : Change::same;
}

int rank(const std::string &verdict) {
  if (verdict == "passed") return 0;
  return verdict == "failed" ? 2 : 1;
}

ComparisonLine line_of(const std::string &name, const std::string &is, const std::string &was,
                       Change change) {
  return {name, change, is == was ? is : is + ", was " + was};
}

void compare_verdicts(const ReportFile &before, const ReportFile &after, Comparison &to) {
  const std::string is = text_in(after.json, "verdict"), was = text_in(before.json, "verdict");
  const Change change = change_by(rank(is) - rank(was));
  to.sections.push_back({"Verdict", {line_of("verdict", is, was, change)}});
}

// Numbers of which every one is one too many.
void compare_losses(const ReportFile &before, const ReportFile &after, Comparison &to) {
  ComparisonSection section{"Values", {}};
  const auto add = [&](const json &old_from, const json &new_from, const char *name) {
    const double was = number_in(old_from, name), is = number_in(new_from, name);
    std::string words = name;
    std::replace(words.begin(), words.end(), '_', ' ');
    section.lines.push_back(line_of(words, with_thousands(std::llround(is)),
                                    with_thousands(std::llround(was)), change_by(is - was)));
  };
  for (const char *name : {"lost", "changed", "foreign"}) {
    add(object_in(before.json, "samples"), object_in(after.json, "samples"), name);
  }
  for (const char *name : {"stale_reads", "foreign_reads", "holes"}) {
    add(before.json, after.json, name);
  }
  to.sections.push_back(section);
}

struct Stretches {
  size_t number = 0;
  double longest = 0, all = 0;  // seconds
};

Stretches stretches_of(const json &report, const char *list) {
  Stretches stretches;
  for (const json &entry : list_in(report, list)) {
    const double seconds = number_in(entry, "seconds");
    ++stretches.number;
    stretches.longest = std::max(stretches.longest, seconds);
    stretches.all += seconds;
  }
  return stretches;
}

// How often there was an outage is up to whoever made it; how long it took to come back is judged,
// to two steps, as it is known no better than to a step.
void compare_stretches(const ReportFile &before, const ReportFile &after, const char *list,
                       const std::string &name, Comparison &to) {
  const Stretches was = stretches_of(before.json, list), is = stretches_of(after.json, list);
  const double every = std::max(number_in(object_in(after.json, "options"), "every", 1), 1.0);
  ComparisonSection section{name, {}};
  const Change number = is.number == was.number ? Change::same : Change::changed;
  section.lines.push_back(
      line_of("number", std::to_string(is.number), std::to_string(was.number), number));
  const double needed = 2 * every + was.longest * to.tolerance;
  const double longer = is.longest - was.longest;
  const bool seen = std::abs(longer) > needed;
  ComparisonLine longest = line_of("longest", duration_text(is.longest * 1e9),
                                   duration_text(was.longest * 1e9), change_by(seen ? longer : 0));
  if (longest.change == Change::same) {
    longest.words +=
        text(": no difference seen; ", duration_text(needed * 1e9), " or more would have been");
  }
  if (is.number > 0 || was.number > 0) section.lines.push_back(longest);
  to.sections.push_back(section);
}

// One call of a whole watch says little; what is worse is a stall.
void note_longest_write(const ReportFile &before, const ReportFile &after, Comparison &to) {
  const double is = number_in(object_in(after.json, "writes"), "longest", -1);
  const double was = number_in(object_in(before.json, "writes"), "longest", -1);
  if (is < 0 || was < 0) return;
  const std::string words = text(duration_text(is * 1e9), ", was ", duration_text(was * 1e9),
                                 " (a single call, not judged)");
  to.sections.push_back({"Writes", {{"longest write", Change::same, words}}});
}

}  // namespace

void compare_watch(const ReportFile &before, const ReportFile &after, Comparison &to) {
  const json &old_options = object_in(before.json, "options");
  const json &new_options = object_in(after.json, "options");
  if (old_options.value("points", json()) != new_options.value("points", json())) {
    throw NotComparable(
        "the two watches had different numbers of points: their values cannot be compared");
  }
  for (const ReportFile *report : {&before, &after}) {
    if (object_in(report->json, "samples").empty())
      throw NotComparable(report->path + " has no samples: it is damaged");
  }
  compare_verdicts(before, after, to);
  compare_losses(before, after, to);
  compare_stretches(before, after, "outages", "Outages", to);
  compare_stretches(before, after, "stalls", "Stalls", to);
  note_longest_write(before, after, to);
}

}  // namespace kelpcheck
