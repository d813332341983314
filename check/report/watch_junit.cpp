// Each way in which a watch can fail is a test case of its own; anything that prevents a verdict is
// an error.
#include <pugixml.hpp>
#include <sstream>

#include "report/watch_reports.h"
#include "report/watch_words.h"
#include "result/text.h"
#include "result/times.h"

namespace kelpcheck::watch {

namespace {

struct Case {
  std::string name, failure;
};

std::vector<Case> cases_of(const WatchReport &report) {
  const auto wrong = [](int64_t count, const std::string &what) {
    return count == 0 ? "" : counted(count, "value") + " " + what;
  };
  const Samples &samples = report.samples;
  return {{"nothing acknowledged is lost", wrong(samples.lost, "lost")},
          {"nothing acknowledged is changed", wrong(samples.changed, "changed")},
          {"there is no row that no step wrote", wrong(samples.foreign, "foreign")},
          {"current values are not stale", wrong(report.reader.stale, "stale")},
          {"current values are those of steps", wrong(report.reader.foreign, "foreign")},
          {"history has no holes that stay", wrong(report.reader.holes, "missing")}};
}

}  // namespace

std::string watch_junit(const WatchReport &report) {
  const std::vector<Case> cases = cases_of(report);
  const bool unknown = report.verdict == WatchVerdict::unknown;
  int failures = 0;
  for (const Case &one : cases) failures += one.failure.empty() ? 0 : 1;
  const bool missing = report.verdict == WatchVerdict::failed && failures == 0;
  pugi::xml_document document;
  pugi::xml_node suites = document.append_child("testsuites");
  pugi::xml_node suite = suites.append_child("testsuite");
  for (pugi::xml_node node : {suites, suite}) {
    node.append_attribute("name") = ("kelpcheck " + report.mode).c_str();
    node.append_attribute("tests") = cases.size() + 1;
    node.append_attribute("failures") = failures + (missing ? 1 : 0);
    node.append_attribute("errors") = unknown ? 1 : 0;
    node.append_attribute("skipped") = 0;
    node.append_attribute("time") = report.seconds;
  }
  const std::string started = iso_text(static_cast<double>(report.started));
  suite.append_attribute("timestamp") = started.substr(0, started.size() - 1).c_str();
  suite.append_attribute("hostname") = report.machine.c_str();
  pugi::xml_node properties = suite.append_child("properties");
  for (const auto &[name, value] : WatchWords(report).facts()) {
    pugi::xml_node property = properties.append_child("property");
    property.append_attribute("name") = name.c_str();
    property.append_attribute("value") = printable(value).c_str();
  }
  std::string reasons;
  for (const std::string &reason : report.reasons) reasons += printable(reason) + "\n";
  pugi::xml_node known = suite.append_child("testcase");
  known.append_attribute("name") = "the verdict is known, and the tree is there";
  known.append_attribute("classname") = ("kelpcheck." + report.mode).c_str();
  if (unknown || missing) {
    pugi::xml_node problem = known.append_child(unknown ? "error" : "failure");
    problem.append_attribute("message") = printable(WatchWords(report).summary()).c_str();
    problem.text() = reasons.c_str();
  }
  const WatchWords words(report);
  for (const Case &one : cases) {
    pugi::xml_node test = suite.append_child("testcase");
    test.append_attribute("name") = one.name.c_str();
    test.append_attribute("classname") = ("kelpcheck." + report.mode).c_str();
    if (one.failure.empty()) continue;
    pugi::xml_node failure = test.append_child("failure");
    failure.append_attribute("message") = one.failure.c_str();
    std::string lines;
    if (&one == &cases[0]) {
      for (const Patch &patch : report.losses) lines += "lost: " + words.damage(patch) + "\n";
    }
    failure.text() = printable(lines + reasons, true).c_str();
  }
  std::ostringstream out;
  document.save(out, "  ");
  return out.str();
}

}  // namespace kelpcheck::watch
