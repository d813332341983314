#include "report/page.h"
#include "report/svg.h"
#include "report/watch_chart.h"
#include "report/watch_reports.h"

namespace kelpcheck::watch {

namespace {

constexpr size_t kMostRows = 200;  // of a table

std::string table(const std::string &heading, const std::vector<std::string> &titles,
                  const std::vector<std::vector<std::string>> &rows) {
  if (rows.empty()) return "";
  std::string html = "<h2>" + escaped(heading) + "</h2>\n<table><tr>";
  for (const std::string &title : titles) html += "<th>" + escaped(title) + "</th>";
  html += "</tr>\n";
  for (size_t i = 0; i < std::min(rows.size(), kMostRows); ++i) {
    html += "<tr>";
    for (const std::string &cell : rows[i]) html += "<td>" + escaped(cell) + "</td>";
    html += "</tr>\n";
  }
  html += "</table>\n";
  if (rows.size() <= kMostRows) return html;
  return html + text("<p class=\"key\">and ", rows.size() - kMostRows, " more</p>\n");
}

std::string numbers(const WatchReport &report, const WatchWords &words) {
  std::string html = "<h2>What became of it</h2>\n<dl>\n";
  const std::pair<const char *, std::string> facts[] = {{"Steps", words.steps()},
                                                        {"Values", words.samples()},
                                                        {"Seen during the watch", words.reader()}};
  for (const auto &[name, value] : facts) {
    html += text("<dt>", name, "</dt><dd>", escaped(value), "</dd>\n");
  }
  html += "</dl>\n";
  for (size_t i = 1; i < report.reasons.size(); ++i) {
    html += "<p class=\"wrong\">" + escaped(report.reasons[i]) + "</p>\n";
  }
  for (const std::string &remark : report.remarks) {
    html += "<p class=\"evidence\">" + escaped(remark) + "</p>\n";
  }
  return html;
}

std::string strip(const WatchReport &report, const WatchWords &words) {
  const std::string chart = time_line_chart(report, words);
  if (chart.empty()) return "";
  const std::string per_column = report.line.steps_per_column == 1
                                     ? "each step"
                                     : "each " + counted(report.line.steps_per_column, "step");
  return "<h2>Over time (UTC)</h2>\n<p class=\"key\"><i class=\"k-sq o-ack\"></i>acknowledged "
         "<i class=\"k-sq o-fail\"></i>failed <i class=\"k-sq o-unk\"></i>unknown "
         "<i class=\"k-sq o-skip\"></i>skipped <i class=\"k-sq o-gap\"></i>not watched "
         "<i class=\"k-median\"></i>a write, typical, and the longest of " +
         per_column + "</p><div class=\"wide\">" + chart + "</div>\n";
}

std::string tables(const WatchReport &report, const WatchWords &words) {
  std::vector<std::vector<std::string>> lost, outages, stalls, reader, odd;
  for (const Patch &patch : report.losses) lost.push_back({"lost", words.damage(patch)});
  for (const Patch &patch : report.changes) lost.push_back({"changed", words.damage(patch)});
  for (const Outage &outage : report.outages) {
    outages.push_back({words.clock(outage.begin), words.outage(outage)});
  }
  for (const Stall &stall : report.stalls) {
    stalls.push_back({words.clock(stall.begin), words.stall(stall)});
  }
  for (const Outage &outage : report.reader_outages) {
    reader.push_back({words.clock(outage.begin), words.outage(outage)});
  }
  for (const Oddity &one : report.oddities) odd.push_back({"read back", words.oddity(one)});
  for (const Oddity &one : report.reader.examples) {
    odd.push_back({"during the watch", words.oddity(one)});
  }
  return table("Losses", {"What", "Where"}, lost) +
         table("Outages", {"Begin", "What happened"}, outages) +
         table("Stalls", {"Begin", "What happened"}, stalls) +
         table("Outages of the reader", {"Begin", "What happened"}, reader) +
         table("Examples", {"Seen", "What"}, odd);
}

}  // namespace

std::string watch_html(const WatchReport &report) {
  const WatchWords words(report);
  const bool watched = report.mode == "watch";
  const PageHead head{watched ? "Watch of a historian" : "Verification of a watch of a historian",
                      name_of(report.verdict),
                      report.verdict == WatchVerdict::passed,
                      report.server.host,
                      words.summary(),
                      words.facts()};
  return page_begin(head) + numbers(report, words) + strip(report, words) + tables(report, words) +
         page_end(
             "Every value was written by kelpcheck and read back by it, through the library "
             "named above. A lost value is one that the server acknowledged and does not have "
             "any more; of failed and unknown steps nothing is promised.");
}

}  // namespace kelpcheck::watch
