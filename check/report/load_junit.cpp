// One test: whether what was written is there.
#include <pugixml.hpp>
#include <sstream>

#include "report/load_reports.h"
#include "report/load_words.h"
#include "result/text.h"

namespace kelpcheck {

std::string load_junit(const LoadReport &report) {
  const std::string verdict = report.verdict();
  const bool failed = verdict == "failed", good = verdict == "measured";
  pugi::xml_document document;
  pugi::xml_node suites = document.append_child("testsuites");
  pugi::xml_node suite = suites.append_child("testsuite");
  for (pugi::xml_node node : {suites, suite}) {
    node.append_attribute("name") = "kelpcheck load";
    node.append_attribute("tests") = 1;
    node.append_attribute("failures") = failed ? 1 : 0;
    node.append_attribute("errors") = failed || good ? 0 : 1;
    node.append_attribute("time") = report.seconds;
  }
  suite.append_attribute("hostname") = report.machine.c_str();
  pugi::xml_node properties = suite.append_child("properties");
  for (const auto &[name, value] : report.facts) {
    pugi::xml_node property = properties.append_child("property");
    property.append_attribute("name") = name.c_str();
    property.append_attribute("value") = printable(value).c_str();
  }
  pugi::xml_node test = suite.append_child("testcase");
  test.append_attribute("name") = ("load." + report.doing).c_str();
  test.append_attribute("classname") = "kelpcheck.load";
  test.append_attribute("time") = report.seconds;
  const std::string summary = printable(report.summary());
  if (!good) {
    pugi::xml_node bad = test.append_child(failed ? "failure" : "error");
    bad.append_attribute("message") = summary.c_str();
  }
  test.append_child("system-out").text() = summary.c_str();
  std::ostringstream out;
  document.save(out, "  ");
  return out.str();
}

}  // namespace kelpcheck
