#include "report/watch_chart.h"

#include <algorithm>

#include "report/svg.h"

namespace kelpcheck::watch {

namespace {

constexpr double kWidth = 960, kLeft = 62, kRight = 948;
constexpr double kMarks = 48, kStrip = 56, kStripHeight = 30;  // from above
constexpr double kLosses = 98, kWrites = 138, kBottom = 290;
constexpr double kLabelWidth = 118;  // of a label, before the next one may begin

const char *css_of(Outcome outcome) {
  switch (outcome) {
    case Outcome::acknowledged: return "o-ack";
    case Outcome::failed: return "o-fail";
    case Outcome::unknown: return "o-unk";
    case Outcome::skipped: return "o-skip";
    default: return "o-gap";
  }
}

class Chart {
 public:
  Chart(const WatchReport &report, const WatchWords &words)
      : report_(report), words_(words), columns_(report.line.columns) {
    steps_ =
        static_cast<double>(report.line.steps_per_column) * static_cast<double>(columns_.size());
  }

  std::string drawn() {
    std::string content = strip() + marks() + losses() + writes() + times();
    return svg(kWidth, kBottom + 26, "Outcomes, outages, losses and write times over time",
               content);
  }

 private:
  double x_of_step(double step) const { return kLeft + (kRight - kLeft) * step / steps_; }
  double x_of(double moment) const {
    const double step =
        (moment - static_cast<double>(report_.first_time)) / static_cast<double>(report_.every);
    return std::clamp(x_of_step(step), kLeft, kRight);
  }
  double column_width() const { return (kRight - kLeft) / static_cast<double>(columns_.size()); }

  // What is not acknowledged shows however short it was: at least a third of the height.
  std::string strip() const {
    std::string content = label("tick end", kLeft - 8, kStrip + 20, "steps");
    const double width = column_width();
    for (size_t i = 0; i < columns_.size(); ++i) {
      const Column &column = columns_[i];
      double all = 0;
      for (const int64_t count : column.steps) all += static_cast<double>(count);
      if (all == 0) continue;
      const double x = kLeft + width * static_cast<double>(i);
      double y = kStrip + kStripHeight;
      for (const Outcome outcome :
           {Outcome::failed, Outcome::unknown, Outcome::skipped, Outcome::not_watched}) {
        const auto share = static_cast<double>(column.steps[static_cast<int>(outcome)]) / all;
        if (share == 0) continue;
        const double room = y - kStrip;
        const double height = std::min(room, std::max(share, 1.0 / 3) * kStripHeight);
        y -= height;
        content += bar(css_of(outcome), x, y, width, height);
      }
      if (column.steps[0] > 0) content += bar("o-ack", x, kStrip, width, y - kStrip);
    }
    return content;
  }

  // A label at x, or right-aligned at the end of the line where it has no room behind x; none where
  // the one before it, which ends at `free_from`, is in the way.
  static std::string free_label(double x, double y, const std::string &words, double &free_from) {
    const bool at_end = x + kLabelWidth > kRight;
    const double from = at_end ? kRight - kLabelWidth : x;
    if (from < free_from) return "";
    free_from = from + kLabelWidth;
    return at_end ? label("tick end", kRight, y, words) : label("tick", x, y, words);
  }

  std::string marks() const {
    std::string content;
    double free_from = kLeft;
    const auto mark = [&](const char *css, double begin, double seconds, const std::string &text) {
      const double x = x_of(begin);
      content += bar(css, x, kMarks, std::max(2.0, x_of(begin + seconds) - x), 5);
      content += free_label(x, kMarks - 8, text, free_from);
    };
    for (const Outage &outage : report_.outages) {
      mark("o-fail", outage.begin, outage.seconds,
           words_.clock(outage.begin) + " " + span_text(outage.seconds));
    }
    for (const Stall &stall : report_.stalls) {
      const double x = x_of(stall.begin), end = x_of(stall.begin + stall.seconds);
      content += bar("o-skip", x, kMarks, std::max(2.0, end - x), 5);
    }
    return content + label("tick end", kLeft - 8, kMarks + 6, "outages");
  }

  std::string losses() const {
    std::string content = label("tick end", kLeft - 8, kLosses + 8, "losses");
    double free_from = kLeft;
    const auto patches = [&](const std::vector<Patch> &list, const char *what) {
      for (const Patch &patch : list) {
        const double x = std::min(x_of_step(static_cast<double>(patch.steps.first)), kRight - 3);
        const double end = x_of_step(static_cast<double>(patch.steps.last + 1));
        content += bar("o-lost", x, kLosses, std::max(3.0, end - x), 9);
        content += free_label(x, kLosses + 23, with_thousands(patch.values) + what, free_from);
      }
    };
    patches(report_.losses, " lost");
    patches(report_.changes, " changed");
    if (report_.losses.empty() && report_.changes.empty()) {
      content += label("tick", kLeft, kLosses + 8, "none");
    }
    return content;
  }

  std::string writes() const {
    double shortest = 1e9, longest = 0;
    for (const Column &column : columns_) {
      if (column.longest <= 0) continue;
      shortest = std::min(shortest, static_cast<double>(column.typical));
      longest = std::max(longest, static_cast<double>(column.longest));
    }
    if (longest == 0) return "";
    const LogAxis axis(shortest, longest, kBottom, kWrites + 8);
    std::string content;
    for (const double power : axis.powers()) {
      const double y = axis.at(power);
      content += line("grid", kLeft, y, kRight, y) +
                 label("tick end", kLeft - 8, y + 4, duration_text(power * 1e9));
    }
    const double width = column_width();
    for (size_t i = 0; i < columns_.size(); ++i) {
      const Column &column = columns_[i];
      if (column.longest <= 0) continue;
      const double x = kLeft + width * (static_cast<double>(i) + 0.5);
      const double typical = axis.at(column.typical);
      content += line("range", x, typical, x, axis.at(column.longest));
      content += dot("median", x, typical, std::clamp(width / 3, 0.9, 3.0));
    }
    return content;
  }

  // Where the time is written: at the start of every sixth of the line.
  std::string times() const {
    constexpr int parts = 6;
    std::string content;
    for (int i = 0; i <= parts; ++i) {
      const double step = steps_ * i / parts;
      const double x = x_of_step(step);
      const double moment =
          static_cast<double>(report_.first_time) + step * static_cast<double>(report_.every);
      const std::string clock = words_.clock(moment);
      const bool days = clock.size() > 8;  // the seconds of a week say nothing
      const char *css = "tick middle";
      if (i == 0) css = "tick";
      if (i == parts) css = "tick end";
      content += line("grid", x, kStrip + kStripHeight, x, kStrip + kStripHeight + 5) +
                 label(css, x, kBottom + 18, days ? clock.substr(5, 11) : clock);
    }
    return content;
  }

  const WatchReport &report_;
  const WatchWords &words_;
  const std::vector<Column> &columns_;
  double steps_ = 1;
};

}  // namespace

std::string time_line_chart(const WatchReport &report, const WatchWords &words) {
  if (report.line.columns.empty()) return "";
  return Chart(report, words).drawn();
}

}  // namespace kelpcheck::watch
