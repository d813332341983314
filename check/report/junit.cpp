#include <pugixml.hpp>
#include <sstream>

#include "report/reports.h"

namespace kelpcheck {

namespace {

void add_check(pugi::xml_node suite, const CheckResult &result) {
  pugi::xml_node test = suite.append_child("testcase");
  test.append_attribute("name") = result.name.c_str();
  test.append_attribute("classname") = ("kelpcheck." + result.family).c_str();
  test.append_attribute("time") = result.seconds;
  if (result.verdict == Verdict::not_run || result.verdict == Verdict::moot) {
    test.append_child("skipped").append_attribute("message") = printable(result.reason).c_str();
  }
  if (result.verdict == Verdict::unknown) {
    test.append_child("error").append_attribute("message") = printable(result.reason).c_str();
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
  pugi::xml_document document;
  pugi::xml_node suites = document.append_child("testsuites");
  pugi::xml_node suite = suites.append_child("testsuite");
  for (pugi::xml_node node : {suites, suite}) {
    node.append_attribute("name") = "kelpcheck";
    node.append_attribute("tests") = run.results.size();
    node.append_attribute("failures") = run.count(Verdict::failed);
    node.append_attribute("errors") = run.count(Verdict::unknown);
    node.append_attribute("skipped") = run.count(Verdict::not_run) + run.count(Verdict::moot);
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
  for (const CheckResult &result : run.results) add_check(suite, result);
  std::ostringstream out;
  document.save(out, "  ");
  return out.str();
}

}  // namespace kelpcheck
