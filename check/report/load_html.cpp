#include <algorithm>
#include <cmath>

#include "report/load_reports.h"
#include "report/load_words.h"
#include "report/page.h"
#include "report/svg.h"

namespace kelpcheck {

namespace {

constexpr double kLeft = 80, kRight = 945, kTop = 30, kBottom = 300, kWidth = 960;

std::vector<LoadStage> by_rate(std::vector<LoadStage> stages) {
  std::erase_if(stages, [](const LoadStage &s) { return s.calls == 0 || s.latency.median <= 0; });
  std::stable_sort(stages.begin(), stages.end(),
                   [](const LoadStage &a, const LoadStage &b) { return a.offered < b.offered; });
  // Of several at one rate the last one, which was run because the others were in doubt.
  std::reverse(stages.begin(), stages.end());
  const auto again =
      std::unique(stages.begin(), stages.end(),
                  [](const LoadStage &a, const LoadStage &b) { return a.offered == b.offered; });
  stages.erase(again, stages.end());
  std::reverse(stages.begin(), stages.end());
  return stages;
}

// Horizontal lines at the powers of ten of an axis that goes upwards, with their names beside.
template <typename Name>
std::string levels(const LogAxis &axis, Name &&name) {
  std::string lines;
  for (const double power : axis.powers()) {
    const double y = axis.at(power);
    lines += line("grid", kLeft, y, kRight, y) + label("tick end", kLeft - 8, y + 4, name(power));
  }
  return lines;
}

std::string curve(const char *css, const std::vector<std::pair<double, double>> &points) {
  std::string list;
  for (const auto &[x, y] : points) list += text(number(x), ",", number(y), " ");
  return text("<polyline class=\"", css, "\" points=\"", list, "\"/>");
}

std::string rate_axis_name() {
  return label("head middle", (kLeft + kRight) / 2, kBottom + 24, "values/s offered");
}

// Median and 99 % as curves through the stages, the longest call as dots.
std::string latency_chart(const std::vector<LoadStage> &stages) {
  double shortest = 1e9, longest = 1e-6;
  for (const LoadStage &stage : stages) {
    shortest = std::min(shortest, stage.latency.median);
    longest = std::max(longest, stage.latency.longest);
  }
  const LogAxis x(stages.front().offered, stages.back().offered, kLeft, kRight);
  const LogAxis y(shortest, longest, kBottom, kTop);
  std::string content = x.grid(kTop, kBottom, [](double rate) { return rate_text(rate); });
  content += levels(y, seconds_text) + rate_axis_name();
  std::vector<std::pair<double, double>> median, p99;
  std::string dots;
  for (const LoadStage &stage : stages) {
    const double at = x.at(stage.offered);
    median.push_back({at, y.at(stage.latency.median)});
    p99.push_back({at, y.at(stage.latency.p99)});
    dots += dot("median", at, y.at(stage.latency.median), 3) +
            dot("median", at, y.at(stage.latency.p99), 3) +
            dot("read", at, y.at(stage.latency.longest), 2.5);
  }
  content += curve("range-curve", p99) + curve("written", median) + dots;
  return svg(kWidth, kBottom + 32, "Time of a call by rate", content);
}

// A server that takes what it is offered stays on the diagonal.
std::string achieved_chart(const std::vector<LoadStage> &stages) {
  double least = 1e18, most = 1;
  for (const LoadStage &stage : stages) {
    least = std::min({least, stage.offered, std::max(stage.achieved, 1.0)});
    most = std::max({most, stage.offered, stage.achieved});
  }
  const LogAxis x(least, most, kLeft, kRight), y(least, most, kBottom, kTop);
  std::string content = x.grid(kTop, kBottom, [](double rate) { return rate_text(rate); });
  content += levels(y, rate_text) + rate_axis_name();
  content += line("range", x.at(least), y.at(least), x.at(most), y.at(most));
  for (const LoadStage &stage : stages) {
    if (stage.achieved <= 0) continue;
    content += dot(stage.kept_up ? "median" : "read", x.at(stage.offered), y.at(stage.achieved), 4);
  }
  return svg(kWidth, kBottom + 32, "Values taken and values offered", content);
}

// Neighbouring seconds as one, so that there are no more columns than a page has room for: means of
// rates, the worst of the rest.
std::vector<LoadSecond> columns_of(const std::vector<LoadSecond> &seconds, size_t &width) {
  constexpr size_t most = 480;
  width = (seconds.size() + most - 1) / most;
  std::vector<LoadSecond> columns;
  for (size_t i = 0; i < seconds.size(); ++i) {
    if (i % width == 0) columns.emplace_back();
    LoadSecond &column = columns.back();
    const auto share = static_cast<double>(std::min(width, seconds.size() - i / width * width));
    column.offered += seconds[i].offered / share;
    column.achieved += seconds[i].achieved / share;
    column.failures += seconds[i].failures;
    column.p99 = std::max(column.p99, seconds[i].p99);
  }
  return columns;
}

std::string time_line(const std::vector<LoadSecond> &seconds) {
  constexpr double middle = 150, top2 = 180;
  size_t width = 1;
  const std::vector<LoadSecond> columns = columns_of(seconds, width);
  double most = 1, shortest = 1e9, longest = 1e-6;
  for (const LoadSecond &column : columns) {
    most = std::max({most, column.offered, column.achieved});
    if (column.p99 <= 0) continue;
    shortest = std::min(shortest, column.p99);
    longest = std::max(longest, column.p99);
  }
  const LogAxis y(std::min(shortest, longest), longest, kBottom, top2);
  const double step = (kRight - kLeft) / static_cast<double>(columns.size());
  std::string content = label("head", kLeft, 16, "Values per second: offered and taken");
  content += label("head", kLeft, top2 - 10, "99 % of calls within") + levels(y, seconds_text);
  const auto height = [&](double rate) { return (middle - kTop) * rate / most; };
  content += label("tick end", kLeft - 8, kTop + 4, rate_text(most)) +
             line("grid", kLeft, kTop, kRight, kTop) + line("grid", kLeft, middle, kRight, middle);
  double x = kLeft;
  std::vector<std::pair<double, double>> offered;
  for (const LoadSecond &column : columns) {
    const double taken = height(column.achieved);
    content += bar("rate", x, middle - taken, step * 0.85, taken);
    offered.push_back({x, middle - height(column.offered)});
    offered.push_back({x + step, middle - height(column.offered)});
    const double centre = x + step / 2;
    if (column.p99 > 0) content += dot("median", centre, y.at(column.p99), 2.5);
    if (column.failures > 0) content += dot("read", centre, middle + 6, 3);
    x += step;
  }
  content += curve("written", offered);
  content += label("tick", kLeft, kBottom + 20, "0 s") +
             label("tick end", kRight, kBottom + 20,
                   seconds_text(static_cast<double>(columns.size() * width)));
  return svg(kWidth, kBottom + 30, "The last stage, second by second", content);
}

std::string stage_table(const LoadReport &report) {
  std::string html = "<h2>Stages</h2><div class=\"wide\"><table><tr>";
  for (size_t i = 0; i < kStageTitles.size(); ++i) {
    const bool words = i == 0 || i + 1 == kStageTitles.size();
    html += text("<th", words ? "" : " class=\"n\"", ">", kStageTitles[i], "</th>");
  }
  html += "</tr>\n";
  for (const LoadStage &stage : report.stages) {
    const std::vector<std::string> cells = stage_cells(stage);
    html += "<tr>";
    for (size_t i = 0; i < cells.size(); ++i) {
      const bool words = i == 0 || i + 1 == cells.size();
      html += text("<td class=\"", words ? "wrap" : "n", "\">", escaped(cells[i]), "</td>");
    }
    html += "</tr>\n";
  }
  return html + "</table></div>\n";
}

std::string charts(const LoadReport &report) {
  const std::vector<LoadStage> stages = by_rate(report.stages);
  std::string html;
  if (stages.size() > 1) {
    html +=
        "<h2>Time of a call by rate</h2><p class=\"key\"><i class=\"k-median\"></i>median, and "
        "above it 99 % <i class=\"k-dot\"></i>longest; counted from when the call was "
        "due</p><div class=\"wide\">" +
        latency_chart(stages) + "</div>\n";
    html +=
        "<h2>Taken and offered</h2><p class=\"key\"><i class=\"k-median\"></i>kept up <i "
        "class=\"k-dot\"></i>did not; the line is where as much is taken as "
        "offered</p><div class=\"wide\">" +
        achieved_chart(stages) + "</div>\n";
  }
  if (!report.last_seconds.empty()) {
    html +=
        "<h2>The last stage</h2><p class=\"key\"><i class=\"k-line\"></i>offered <i "
        "class=\"k-box\"></i>taken <i class=\"k-median\"></i>99 % <i class=\"k-dot\"></i>a "
        "second with failed calls</p><div class=\"wide\">" +
        time_line(report.last_seconds) + "</div>\n";
  }
  return html;
}

std::string notes(const LoadReport &report) {
  std::string html = "<h2>Rows</h2><table>\n";
  const auto add = [&](const std::string &name, const std::string &value) {
    html += text("<tr><td>", escaped(name), "</td><td>", escaped(value), "</td></tr>\n");
  };
  add("Written", with_thousands(report.rows_written));
  add("Read back", read_back_words(report));
  if (report.burst > 0) add("One call after another", rate_text(report.burst) + " values/s");
  for (const std::string &remark : report.remarks) add("Note", remark);
  return html + "</table>\n";
}

}  // namespace

std::string load_html(const LoadReport &report) {
  const std::string verdict = report.verdict();
  std::string host;
  for (const auto &[name, value] : report.texts) {
    if (name == "host") host = value;
  }
  return page_begin({"Load of a historian", verdict, verdict == "measured", host, report.summary(),
                     report.facts}) +
         stage_table(report) + charts(report) + notes(report) +
         page_end(
             "The calls are due at regular intervals, whatever became of the calls before them; "
             "the "
             "time of a call counts from when it was due. Service is the median time of the calls "
             "alone. Times include the library and the way to the server.");
}

}  // namespace kelpcheck
