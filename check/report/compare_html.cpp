#include <algorithm>

#include "report/compare_reports.h"
#include "report/page.h"
#include "report/svg.h"

namespace kelpcheck {

namespace {

// Each line's change with its interval: left of the middle is faster, or more.
std::string changes_chart(const ComparisonSection &section) {
  constexpr double left = 300, right = 940, top = 30, row_height = 18, width = 960;
  std::vector<ComparisonLine> lines;
  double low = 0.5, high = 2;
  for (const ComparisonLine &l : section.lines) {
    if (l.ratio <= 0) continue;
    lines.push_back(l);
    low = std::min(low, l.low);
    high = std::max(high, l.high);
  }
  if (lines.empty()) return "";
  constexpr double least = 0.01, most = 100;  // what is beyond is cut
  const LogAxis x(std::max(low, least), std::min(high, most), left, right);
  const double bottom = top + row_height * static_cast<double>(lines.size());
  std::string content = x.grid(top, bottom, [](double ratio) { return rate_text(ratio); });
  content += line("range", x.at(1), top, x.at(1), bottom);
  double y = top + row_height / 2;
  for (const ComparisonLine &l : lines) {
    const auto at = [&](double ratio) { return x.at(std::clamp(ratio, least, most)); };
    const bool same = l.change == Change::same;
    content += label("name end", left - 12, y + 4, l.name) +
               bar("box", at(l.low), y - 3.5, at(l.high) - at(l.low), 7) +
               dot(same ? "median" : "read", at(l.ratio), y, 3.5);
    y += row_height;
  }
  return "<p class=\"key\"><i class=\"k-median\"></i>new divided by old <i class=\"k-dot\"></i>a "
         "difference <i class=\"k-box\"></i>what it may also be</p><div class=\"wide\">" +
         svg(width, bottom + 8, section.title, content) + "</div>\n";
}

const char *css_of(Change change) {
  switch (change) {
    case Change::worse: return "failed";
    case Change::better: return "passed";
    case Change::same: return "same";
    default: return "not-run";
  }
}

std::string section_html(const ComparisonSection &section) {
  if (section.lines.empty()) return "";
  std::string html = "<h2>" + escaped(section.title) + "</h2>" + changes_chart(section) +
                     "<table class=\"checks\">\n";
  size_t dull = 0;
  for (const ComparisonLine &l : section.lines) {
    if (l.change == Change::same && l.ratio == 0) {
      ++dull;
      continue;
    }
    html += text("<tr><td class=\"v ", css_of(l.change), "\">", name_of(l.change),
                 "</td><td class=\"what\"><code>", escaped(l.name),
                 "</code><span class=\"evidence\">", escaped(l.words), "</span></td></tr>\n");
  }
  html += "</table>\n";
  if (dull > 0) html += text("<p>", dull, " the same</p>\n");
  return html;
}

}  // namespace

std::string comparison_html(const Comparison &comparison) {
  std::string html =
      page_begin({"Two reports of a historian compared", comparison.verdict(), !comparison.worse(),
                  comparison.new_file, comparison.summary(), comparison.facts});
  if (!comparison.notes.empty()) html += "<h2>What else is different</h2><table>\n";
  for (const std::string &note : comparison.notes) {
    html += "<tr><td>" + escaped(note) + "</td></tr>\n";
  }
  if (!comparison.notes.empty()) html += "</table>\n";
  for (const ComparisonSection &section : comparison.sections) html += section_html(section);
  return html + page_end(
                    "Times are compared by the means of batches of successive calls. A difference "
                    "is one that the calls' own spread, and how far apart the operations of the "
                    "two runs are altogether, leave no doubt about; of fifty comparisons without "
                    "one, at most one is to show any.");
}

}  // namespace kelpcheck
