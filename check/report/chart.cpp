#include "report/chart.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "report/svg.h"

namespace kelpcheck {

namespace {

// The smallest and the largest of the numbers that it was shown.
struct Extent {
  double low = std::numeric_limits<double>::max();
  double high = std::numeric_limits<double>::lowest();

  void include(double value) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
  bool empty() const { return low > high; }
};

constexpr double kChartWidth = 960;

// The chart of figures: names, then two columns with a logarithmic axis each.
constexpr double kRowHeight = 17;
constexpr double kFiguresTop = 42;
constexpr double kNamesEnd = 180;
constexpr double kTimesLeft = 190;
constexpr double kTimesRight = 620;
constexpr double kRatesLeft = 665;
constexpr double kRatesRight = 940;

std::string time_of_calls(const Figure &figure, const LogAxis &axis, double y) {
  const double shortest = axis.at(static_cast<double>(figure.shortest));
  const double longest = axis.at(static_cast<double>(figure.longest));
  const double median = axis.at(figure.quantile(0.5));
  const double most = axis.at(figure.quantile(0.95));
  return line("range", shortest, y, longest, y) + bar("box", median, y - 3.5, most - median, 7) +
         dot("median", median, y, 3.5);
}

std::string rate_of_rows(const Figure &figure, const LogAxis &axis, double y) {
  const double rate = figure.rows_per_second();
  const double x = axis.at(rate);
  return bar("rate", kRatesLeft, y - 4, x - kRatesLeft, 8) +
         label("tick", x + 5, y + 4, rate_text(rate));
}

// The chart of a block: values over time.
constexpr double kBlockLeft = 70;
constexpr double kBlockRight = 945;
constexpr double kBlockTop = 12;
constexpr double kBlockBottom = 250;

class BlockAxes {
 public:
  explicit BlockAxes(const Plot &plot) {
    include(plot.written_times, plot.written);
    include(plot.read_times, plot.read);
    if (values_.high == values_.low) values_.high = values_.low + 1;
    if (times_.high == times_.low) times_.high = times_.low + 1;
  }
  bool empty() const { return values_.empty(); }
  double x(double time) const {
    const double share = (time - times_.low) / (times_.high - times_.low);
    return kBlockLeft + (kBlockRight - kBlockLeft) * share;
  }
  // Halves, as the distance between two doubles need not be one.
  double y(double value) const {
    const double share = (value / 2 - values_.low / 2) / (values_.high / 2 - values_.low / 2);
    return kBlockBottom - (kBlockBottom - kBlockTop) * share;
  }
  std::string grid() const {
    constexpr int lines = 4;
    std::string content;
    for (int i = 0; i <= lines; ++i) {
      const double value = values_.low + (values_.high - values_.low) / lines * i;
      const std::string sign = value < 0 ? "-" : "";
      content += line("grid", kBlockLeft, y(value), kBlockRight, y(value));
      content += label("tick end", kBlockLeft - 8, y(value) + 4, sign + rate_text(std::abs(value)));
    }
    return content + label("tick", kBlockLeft, kBlockBottom + 20, moment(times_.low)) +
           label("tick end", kBlockRight, kBlockBottom + 20, moment(times_.high));
  }

 private:
  static std::string moment(double time) { return clock_text(static_cast<int64_t>(time)) + " UTC"; }
  void include(const std::vector<int64_t> &times, const std::vector<double> &values) {
    for (size_t i = 0; i < values.size(); ++i) {
      if (!std::isfinite(values[i])) continue;
      times_.include(static_cast<double>(times[i]));
      values_.include(values[i]);
    }
  }

  Extent times_, values_;
};

}  // namespace

std::string figures_chart(const Figures &figures) {
  std::vector<int> operations;
  Extent times, rates;
  for (int op = 0; op < kOperations; ++op) {
    const Figure &figure = figures.all[op];
    if (figure.calls == 0) continue;
    operations.push_back(op);
    times.include(static_cast<double>(figure.shortest));
    times.include(static_cast<double>(figure.longest));
    if (figure.rows > 0) rates.include(figure.rows_per_second());
  }
  if (operations.empty()) return "";
  if (rates.empty()) rates.include(1);
  const double bottom = kFiguresTop + kRowHeight * static_cast<double>(operations.size());
  const LogAxis time_axis(times.low, times.high, kTimesLeft, kTimesRight);
  const LogAxis rate_axis(rates.low, rates.high, kRatesLeft, kRatesRight);
  std::string content = label("head", kTimesLeft, 14, "Time of a call") +
                        label("head", kRatesLeft, 14, "Rows per second");
  content += time_axis.grid(kFiguresTop, bottom, [](double ns) { return duration_text(ns); });
  content += rate_axis.grid(kFiguresTop, bottom, [](double rate) { return rate_text(rate); });
  double y = kFiguresTop + kRowHeight / 2;
  for (const int op : operations) {
    const Figure &figure = figures.all[op];
    const std::string name = kOperationNames[op];
    content += label("name end", kNamesEnd, y + 4, name.substr(std::string("kelp2_").size()));
    content += time_of_calls(figure, time_axis, y);
    if (figure.rows > 0) content += rate_of_rows(figure, rate_axis, y);
    y += kRowHeight;
  }
  const std::string title = "Time of a call and rows per second, by operation";
  return svg(kChartWidth, bottom + 6, title, content);
}

std::string block_chart(const Plot &plot) {
  const BlockAxes axes(plot);
  if (plot.written.empty() || axes.empty()) return "";
  std::string points, dots;
  for (size_t i = 0; i < plot.written.size(); ++i) {
    const double x = axes.x(static_cast<double>(plot.written_times[i]));
    points += number(x) + "," + number(axes.y(plot.written[i])) + " ";
  }
  for (size_t i = 0; i < plot.read.size(); ++i) {
    if (!std::isfinite(plot.read[i])) continue;
    const double x = axes.x(static_cast<double>(plot.read_times[i]));
    dots += dot("read", x, axes.y(plot.read[i]), 1.9);
  }
  const std::string curve = "<polyline class=\"written\" points=\"" + points + "\"/>";
  return svg(kChartWidth, kBlockBottom + 30, "A block of values as written and as read back",
             axes.grid() + curve + dots);
}

}  // namespace kelpcheck
