// One page without anything from elsewhere, to be read, printed and filed.
#include <algorithm>

#include "report/chart.h"
#include "report/page.h"
#include "report/reports.h"
#include "report/svg.h"

namespace kelpcheck {

namespace {

std::string css_of(Verdict verdict) {
  if (verdict == Verdict::passed || verdict == Verdict::failed) return name_of(verdict);
  return "not-run";
}

std::string head(const Run &run) {
  const std::string verdict = run.verdict();
  return page_begin({"Acceptance record of a historian", verdict, verdict == "passed",
                     run.options.server.host, run.summary(), run.facts()});
}

std::string row_of(const CheckResult &result) {
  std::string html =
      text("<tr><td class=\"v ", css_of(result.verdict), "\">", name_of(result.verdict),
           "</td><td class=\"what\"><code>", escaped(result.name),
           "</code><span class=\"promise\">", escaped(result.promise), "</span>");
  if (result.verdict == Verdict::failed) {
    for (const std::string &line : result.explanation()) {
      html += text("<span class=\"wrong\">", escaped(line), "</span>");
    }
  } else if (result.verdict != Verdict::passed) {
    html += text("<span class=\"evidence\">", escaped(result.reason), "</span>");
  } else {
    html += text("<span class=\"evidence\">", with_thousands(result.evidence.compared),
                 result.evidence.compared == 1 ? " comparison" : " comparisons",
                 ", no difference</span>");
  }
  for (const std::string &line : lines_of(result.output)) {
    html += text("<code class=\"evidence\">library: ", escaped(line), "</code>");
  }
  const bool ran = result.verdict != Verdict::not_run;
  return html + text("</td><td class=\"n\">", ran ? duration_text(result.seconds * 1e9) : "&#160;",
                     "</td></tr>\n");
}

// The results in a row that belong to one family.
std::string checks(const Run &run) {
  std::string html = "<h2>Checks</h2>\n";
  const auto &all = run.results;
  for (auto begin = all.begin(); begin != all.end();) {
    const auto end = std::find_if(begin, all.end(), [&](const CheckResult &result) {
      return result.family != begin->family;
    });
    const auto passed = std::count_if(
        begin, end, [](const CheckResult &result) { return result.verdict == Verdict::passed; });
    html += text("<h3>", escaped(begin->family), " <span>", passed, " of ", end - begin,
                 " passed</span></h3><table class=\"checks\">\n");
    for (; begin != end; ++begin) html += row_of(*begin);
    html += "</table>\n";
  }
  return html;
}

std::string block(const Run &run) {
  if (run.plot.written.empty()) return "";
  return text("<h2>One block of values</h2><p class=\"key\"><i class=\"k-line\"></i>",
              run.plot.written.size(), " as written <i class=\"k-dot\"></i>", run.plot.read.size(),
              " as read back, of ", escaped(run.plot.title), "</p><div class=\"wide\">",
              block_chart(run.plot), "</div>\n");
}

std::string findings(const Run &run) {
  if (run.findings.empty()) return "";
  std::string html = "<h2>This server</h2><table>\n";
  for (const auto &[question, answer] : run.findings) {
    html += text("<tr><td>", escaped(question), "</td><td>", escaped(answer), "</td></tr>\n");
  }
  return html + "</table>\n";
}

std::string figures_of(const Figures &figures) {
  std::string html =
      "<h2>Figures</h2><p class=\"key\"><i class=\"k-line\"></i>shortest to longest "
      "<i class=\"k-median\"></i>median <i class=\"k-box\"></i>from there to 95 %</p>"
      "<div class=\"wide\">" +
      figures_chart(figures) + "</div>\n<div class=\"wide\"><table><tr>";
  for (const char *title : {"Operation", "Calls", "Rows", "Failures", "Rows/s", "Shortest",
                            "Median", "95 %", "Longest"}) {
    html += text("<th", title[0] == 'O' ? "" : " class=\"n\"", ">", title, "</th>");
  }
  html += "</tr>\n";
  for (int op = 0; op < kOperations; ++op) {
    const Figure &f = figures.all[op];
    if (f.calls == 0) continue;
    html += text("<tr><td>", kOperationNames[op], "</td>");
    for (const std::string &cell : f.cells()) html += "<td class=\"n\">" + cell + "</td>";
    html += "</tr>\n";
  }
  return html + "</table></div>\n";
}

}  // namespace

std::string html_report(const Run &run) {
  return head(run) + checks(run) + block(run) + findings(run) + figures_of(run.figures) +
         page_end(
             "Every comparison is of what was read with what was written a moment before, made by "
             "kelpcheck through the library named above. Times include the library and the way to "
             "the server.");
}

}  // namespace kelpcheck
