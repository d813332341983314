// One page without anything from elsewhere, to be read, printed, signed and filed.
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

std::string table_of(const std::vector<const CheckResult *> &results) {
  std::string html = "<table class=\"checks\">\n";
  for (const CheckResult *result : results) html += row_of(*result);
  return html + "</table>";
}

// What somebody has to look at comes first.
std::string failures(const Run &run) {
  std::vector<const CheckResult *> results;
  for (const Verdict verdict : {Verdict::failed, Verdict::unknown}) {
    for (const CheckResult &result : run.results) {
      if (result.verdict == verdict) results.push_back(&result);
    }
  }
  if (results.empty()) return "";
  return "<h2>What did not pass</h2>" + table_of(results) + "\n";
}

std::string next_step(const Run &run) {
  const std::string next = run.next_step();
  if (next.empty()) return "";
  std::string html = "<h2>What to try</h2>";
  const CheckResult &opening = run.results.front();
  html += text("<p>", escaped(opening.reason), "</p>");
  for (const std::string &line : lines_of(opening.output)) {
    html += text("<p class=\"wrong\">library: ", escaped(line), "</p>");
  }
  return html + text("<p>", escaped(next), "</p>\n");
}

// Answers that a reader who knows other servers should know of.
std::string unusual(const Run &run) {
  std::string html;
  for (const std::string &line : run.unusual()) html += text("<li>", escaped(line), "</li>");
  if (html.empty()) return "";
  return "<h2>Unusual habits that the server was held to</h2><ul>" + html + "</ul>\n";
}

// The results in a row that belong to one family; on paper a short table stays with its heading.
std::string checks(const Run &run) {
  std::string html = "<h2>Checks</h2>\n";
  const auto &all = run.results;
  for (auto begin = all.begin(); begin != all.end();) {
    std::vector<const CheckResult *> family;
    size_t passed = 0;
    const std::string name = begin->family;
    for (; begin != all.end() && begin->family == name; ++begin) {
      family.push_back(&*begin);
      passed += begin->verdict == Verdict::passed ? 1 : 0;
    }
    html += text("<section><h3>", escaped(name), " <span>", passed, " of ", family.size(),
                 " passed</span></h3>", table_of(family), "</section>\n");
  }
  return html;
}

// Filled in by hand.
std::string signatures() {
  std::string html = "<section class=\"sign\"><h2>Signatures</h2><table><tr>";
  for (const char *title : {"", "Name", "Date", "Signature"}) html += text("<th>", title, "</th>");
  html += "</tr>";
  for (const char *role : {"Tested by", "Accepted by"}) {
    html += text("<tr><td>", role, "</td><td>&#160;</td><td>&#160;</td><td>&#160;</td></tr>");
  }
  return html + "</table></section>\n";
}

std::string block(const Run &run) {
  if (run.plot.written.empty()) return "";
  return text("<section><h2>One block of values</h2><p class=\"key\"><i class=\"k-line\"></i>",
              run.plot.written.size(), " as written <i class=\"k-dot\"></i>", run.plot.read.size(),
              " as read back, of ", escaped(run.plot.title), "</p><div class=\"wide\">",
              block_chart(run.plot), "</div></section>\n");
}

std::string findings(const Run &run) {
  if (run.findings.empty()) return "";
  std::string html = "<h2>This server</h2><table>\n";
  for (const auto &[question, answer] : run.findings) {
    html += text("<tr><td>", escaped(question), "</td><td>", escaped(answer), "</td></tr>\n");
  }
  return html + "</table>\n";
}

std::string figures_section(const Figures &figures) {
  std::string html =
      "<section><h2>Figures</h2><p class=\"key\"><i class=\"k-line\"></i>shortest to longest "
      "<i class=\"k-median\"></i>median <i class=\"k-box\"></i>from there to 95 %</p>"
      "<div class=\"wide\">" +
      figures_chart(figures) +
      "</div></section>\n<div class=\"wide\"><table><thead><tr><th>operation</th>";
  for (const std::string &title : Figure::titles()) {
    html += text("<th class=\"n\">", escaped(title), "</th>");
  }
  html += "</tr></thead>\n";
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
  std::string html = head(run) + next_step(run) + failures(run) + unusual(run);
  if (run.connected && run.refusal.empty()) {
    html += checks(run) + block(run) + findings(run) + figures_section(run.figures);
  }
  return html + signatures() +
         page_end(
             "Every comparison is of what was read with what was written a moment before, made by "
             "kelpcheck through the library named above. Times include the library and the way to "
             "the server.");
}

}  // namespace kelpcheck
