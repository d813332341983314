// The time line of a watch as it is drawn: its labels stand where they belong and never on each
// other.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <vector>

#include "report/watch_chart.h"

namespace kelpcheck::watch {

struct Label {
  std::string css;
  double x, y;
  std::string words;
};

// Those with a class like this one, from left to right.
std::vector<Label> labels_in(const std::string &svg, const std::string &css) {
  static const std::regex form(
      "<text class=\"([^\"]*)\" x=\"([^\"]*)\" y=\"([^\"]*)\">([^<]*)</text>");
  std::vector<Label> labels;
  for (std::sregex_iterator at(svg.begin(), svg.end(), form), end; at != end; ++at) {
    const std::smatch &found = *at;
    if (!std::regex_match(found[1].str(), std::regex(css))) continue;
    labels.push_back({found[1], std::stod(found[2]), std::stod(found[3]), found[4]});
  }
  std::sort(labels.begin(), labels.end(), [](auto &a, auto &b) { return a.x < b.x; });
  return labels;
}

// A watch of 1,000 s, whose steps took 2 ms and at most 20.
WatchReport watch_of_1000_seconds() {
  WatchReport report;
  report.first_time = 1'600'000'000;
  report.line.steps_per_column = 10;
  report.line.columns.resize(100);
  for (Column &column : report.line.columns) {
    column.steps[static_cast<int>(Outcome::acknowledged)] = 10;
    column.typical = 0.002F;
    column.longest = 0.02F;
  }
  report.steps_in_all = 1000;
  return report;
}

std::string drawn(const WatchReport &report) { return time_line_chart(report, WatchWords(report)); }

TEST(WatchChart, NamesTheOutagesThatThereIsRoomFor) {
  WatchReport report = watch_of_1000_seconds();
  for (const int begin : {100, 150, 250, 500, 990}) {
    Outage outage;
    outage.begin = 1'600'000'000.0 + begin;
    outage.seconds = 8;
    report.outages.push_back(outage);
  }
  const std::string svg = drawn(report);
  std::vector<Label> names = labels_in(svg, "tick|tick end");
  std::erase_if(names, [](const Label &label) { return !label.words.ends_with(" 8 s"); });
  ASSERT_EQ(names.size(), 4U) << "that at 150 s is too near to the one before: " << svg;
  const double second = (948.0 - 62) / 1000;
  EXPECT_NEAR(names[0].x, 62 + 100 * second, 0.1);
  EXPECT_NEAR(names[1].x, 62 + 250 * second, 0.1);
  EXPECT_NEAR(names[2].x, 62 + 500 * second, 0.1);
  EXPECT_EQ(names[3].css, "tick end") << "no room behind the last one";
  EXPECT_EQ(names[3].x, 948);
}

TEST(WatchChart, HasTheTimesBelowEverythingElse) {
  const std::string svg = drawn(watch_of_1000_seconds());
  const std::vector<Label> all = labels_in(svg, ".*");
  std::vector<Label> times;
  for (const Label &label : all) {
    if (std::count(label.words.begin(), label.words.end(), ':') == 2) times.push_back(label);
  }
  ASSERT_EQ(times.size(), 7U) << svg;
  EXPECT_EQ(times.front().words, "12:26:40");
  EXPECT_EQ(times.back().words, "12:43:20");
  for (const Label &label : all) {
    const bool is_time = label.y == times[0].y;
    EXPECT_TRUE(is_time || label.y < times[0].y - 10) << label.words;
  }
  EXPECT_LT(times[0].y, 316) << "inside the picture";
}

}  // namespace kelpcheck::watch
