#include "compare/compare.h"

#include <algorithm>

#include "compare/timed.h"
#include "result/text.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

// A run that did not come to its end says too little.
void require_whole(const ReportFile &report) {
  const std::string verdict = text_in(report.json, "verdict");
  for (const char *word : {"interrupted", "no connection", "nothing measured"}) {
    if (verdict == word)
      throw NotComparable(report.path + " is of a run that ended with \"" + verdict + "\"");
  }
}

void note_difference(Comparison &to, const std::string &name, const json &before,
                     const json &after) {
  if (before == after) return;
  const auto words = [](const json &value) {
    return value.is_null() ? "not given"
                           : printable(value.dump(-1, ' ', false, json::error_handler_t::replace));
  };
  to.notes.push_back(text(name, " is ", words(after), ", was ", words(before)));
}

void note_differences(const ReportFile &before, const ReportFile &after, Comparison &to) {
  for (const char *name : {"program_version", "library", "library_sha256", "machine"}) {
    note_difference(to, name, before.json.value(name, json()), after.json.value(name, json()));
  }
  const json &old_options = object_in(before.json, "options");
  const json &new_options = object_in(after.json, "options");
  for (const auto &[name, value] : new_options.items()) {
    note_difference(to, "option " + name, old_options.value(name, json()), value);
  }
  for (const auto &[name, value] : old_options.items()) {
    if (!new_options.contains(name)) note_difference(to, "option " + name, value, json());
  }
}

std::string facts_of(const ReportFile &report) {
  const json &options = object_in(report.json, "options");
  return text(report.path, ": ", text_in(report.json, "started"), " UTC, ",
              text_in(options, "host"), ", from ", text_in(report.json, "machine"), ", kelpcheck ",
              text_in(report.json, "program_version"));
}

}  // namespace

Comparison compare(const ReportFile &before, const ReportFile &after, double tolerance,
                   bool strict) {
  if (before.mode != after.mode) {
    throw NotComparable(
        text(before.path, " is of a ", before.mode, ", ", after.path, " of a ", after.mode));
  }
  require_whole(before);
  require_whole(after);
  Comparison comparison;
  comparison.mode = before.mode;
  comparison.old_file = before.path;
  comparison.new_file = after.path;
  comparison.tolerance = tolerance;
  comparison.strict = strict;
  comparison.facts = {
      {"Old", facts_of(before)}, {"New", facts_of(after)}, {"Tolerance", change_text(tolerance)}};
  note_differences(before, after, comparison);
  if (before.mode == "check") {
    compare_checks(before, after, comparison);
  } else if (before.mode == "load") {
    compare_load(before, after, comparison);
  } else if (before.mode == "watch" || before.mode == "verify") {
    compare_watch(before, after, comparison);
  } else {
    throw NotComparable(before.path + " is of a kind that this kelpcheck does not know: \"" +
                        printable(before.mode) + "\"");
  }
  const auto &sections = comparison.sections;
  const bool nothing = std::all_of(sections.begin(), sections.end(),
                                   [](const auto &section) { return section.lines.empty(); });
  if (nothing) throw NotComparable("the two reports have nothing in common to compare");
  return comparison;
}

}  // namespace kelpcheck
