#include <algorithm>
#include <pugixml.hpp>
#include <sstream>

#include "report/reports.h"

namespace kelpcheck {

namespace {

// What keeps a whole run from saying anything.
bool is_error(const Run &run, const CheckResult &result) {
  const bool opening = &result == run.results.data();
  const bool came_to_nothing = run.verdict() == "no connection" || run.verdict() == "refused";
  return result.verdict == Verdict::unknown || (opening && came_to_nothing);
}

void add_check(pugi::xml_node suite, const Run &run, const CheckResult &result) {
  pugi::xml_node test = suite.append_child("testcase");
  test.append_attribute("name") = result.name.c_str();
  test.append_attribute("classname") = ("kelpcheck." + result.family).c_str();
  test.append_attribute("time") = result.seconds;
  if (is_error(run, result)) {
    pugi::xml_node error = test.append_child("error");
    error.append_attribute("message") = printable(result.reason).c_str();
    if (result.verdict != Verdict::unknown) error.text() = printable(run.next_step()).c_str();
  } else if (result.verdict == Verdict::not_run || result.verdict == Verdict::moot) {
    test.append_child("skipped").append_attribute("message") = printable(result.reason).c_str();
  }
  if (result.verdict == Verdict::failed) {
    std::string evidence = "promised: " + result.promise;
    for (const std::string &line : result.explanation()) evidence += "\n" + printable(line);
    pugi::xml_node failure = test.append_child("failure");
    failure.append_attribute("message") = printable(result.explanation().at(0)).c_str();
    failure.append_attribute("type") = result.reason.empty() ? "difference" : "call";
    failure.text() = evidence.c_str();
  }
  if (!result.output.empty()) {
    test.append_child("system-err").text() = printable(result.output, true).c_str();
  }
}

}  // namespace

std::string junit_report(const Run &run) {
  const size_t errors =
      std::count_if(run.results.begin(), run.results.end(),
                    [&](const CheckResult &result) { return is_error(run, result); });
  const size_t unjudged =
      run.count(Verdict::not_run) + run.count(Verdict::moot) + run.count(Verdict::unknown);
  pugi::xml_document document;
  pugi::xml_node suites = document.append_child("testsuites");
  pugi::xml_node suite = suites.append_child("testsuite");
  for (pugi::xml_node node : {suites, suite}) {
    node.append_attribute("name") = "kelpcheck";
    node.append_attribute("tests") = run.results.size();
    node.append_attribute("failures") = run.count(Verdict::failed);
    node.append_attribute("errors") = errors;
    node.append_attribute("skipped") = unjudged - errors;
    node.append_attribute("time") = run.seconds;
  }
  std::string started = clock_text(run.started);
  started[10] = 'T';
  suite.append_attribute("timestamp") = started.c_str();
  suite.append_attribute("hostname") = run.machine.c_str();
  pugi::xml_node properties = suite.append_child("properties");
  for (const auto &[name, value] : run.facts()) {
    pugi::xml_node property = properties.append_child("property");
    property.append_attribute("name") = name.c_str();
    property.append_attribute("value") = printable(value).c_str();
  }
  for (const CheckResult &result : run.results) add_check(suite, run, result);
  std::ostringstream out;
  document.save(out, "  ");
  return out.str();
}

}  // namespace kelpcheck
