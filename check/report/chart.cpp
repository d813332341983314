#include "report/chart.h"

#include <algorithm>
#include <cmath>

#include "report/svg.h"

namespace kelpcheck {

std::string figures_chart(const Figures &figures) {
  constexpr double row_height = 17, top = 42, width = 960;
  std::vector<int> operations;
  double shortest = 1e18, longest = 1, slowest = 1e18, fastest = 1;
  for (int op = 0; op < kOperations; ++op) {
    const Figure &f = figures.all[op];
    if (f.calls == 0) continue;
    operations.push_back(op);
    shortest = std::min(shortest, double(f.shortest));
    longest = std::max(longest, double(f.longest));
    if (f.rows > 0) slowest = std::min(slowest, f.rows_per_second());
    if (f.rows > 0) fastest = std::max(fastest, f.rows_per_second());
  }
  if (operations.empty()) return "";
  const double bottom = top + row_height * static_cast<double>(operations.size());
  const LogAxis time(shortest, longest, 190, 620);
  const LogAxis rows(std::min(slowest, fastest), fastest, 665, 940);
  std::string content =
      label("head", 190, 14, "Time of a call") + label("head", 665, 14, "Rows per second");
  content += time.grid(top, bottom, [](double ns) { return duration_text(ns); });
  content += rows.grid(top, bottom, [](double n) { return rate_text(n); });
  double y = top + row_height / 2;
  for (const int op : operations) {
    const Figure &f = figures.all[op];
    const double median = time.at(f.quantile(0.5)), most = time.at(f.quantile(0.95));
    content += label("name end", 180, y + 4, std::string(kOperationNames[op]).substr(6));
    content += line("range", time.at(double(f.shortest)), y, time.at(double(f.longest)), y);
    content += bar("box", median, y - 3.5, most - median, 7) + dot("median", median, y, 3.5);
    if (f.rows > 0) {
      const double x = rows.at(f.rows_per_second());
      content += bar("rate", 665, y - 4, x - 665, 8) +
                 label("tick", x + 5, y + 4, rate_text(f.rows_per_second()));
    }
    y += row_height;
  }
  return svg(width, bottom + 6, "Time of a call and rows per second, by operation", content);
}

std::string block_chart(const Plot &plot) {
  constexpr double left = 70, right = 945, top = 12, bottom = 250;
  if (plot.written.empty()) return "";
  double low = plot.written[0], high = low;
  int64_t begin = plot.written_times[0], end = begin + 1;
  const auto include = [&](const std::vector<int64_t> &times, const std::vector<double> &values) {
    for (size_t i = 0; i < values.size(); ++i) {
      if (!std::isfinite(values[i])) continue;
      low = std::min(low, values[i]);
      high = std::max(high, values[i]);
      begin = std::min(begin, times[i]);
      end = std::max(end, times[i]);
    }
  };
  include(plot.written_times, plot.written);
  include(plot.read_times, plot.read);
  if (high == low) high = low + 1;
  const auto x = [&](int64_t t) {
    return left + (right - left) * double(t - begin) / double(end - begin);
  };
  const auto y = [&](double v) {
    return bottom - (bottom - top) * (v / 2 - low / 2) / (high / 2 - low / 2);
  };
  std::string content, points;
  for (int i = 0; i <= 4; ++i) {
    const double value = low + (high - low) / 4 * i;
    content += line("grid", left, y(value), right, y(value)) +
               label("tick end", left - 8, y(value) + 4,
                     rate_text(std::abs(value)).insert(0, value < 0 ? "-" : ""));
  }
  for (size_t i = 0; i < plot.written.size(); ++i) {
    points += text(number(x(plot.written_times[i])), ",", number(y(plot.written[i])), " ");
  }
  content += "<polyline class=\"written\" points=\"" + points + "\"/>";
  for (size_t i = 0; i < plot.read.size(); ++i) {
    if (std::isfinite(plot.read[i]))
      content += dot("read", x(plot.read_times[i]), y(plot.read[i]), 1.9);
  }
  content += label("tick", left, bottom + 20, clock_text(begin) + " UTC");
  content += label("tick end", right, bottom + 20, clock_text(end) + " UTC");
  return svg(960, bottom + 30, "A block of values as written and as read back", content);
}

}  // namespace kelpcheck
