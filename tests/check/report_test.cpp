// What reports show, without a run: that it fits the terminal, and that figures and estimates are
// right.
#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "report/estimate.h"
#include "report/reports.h"
#include "report/terminal.h"

namespace kelpcheck {

using testing::HasSubstr;

CheckResult check_of(const std::string &name, Verdict verdict) {
  CheckResult result;
  result.name = name;
  result.family = name.substr(0, name.find('.'));
  result.promise = "Every point has the current value, time and status that were written last.";
  result.verdict = verdict;
  result.seconds = 0.0123;
  return result;
}

Run failed_run(const CheckOptions &options) {
  Run run(options);
  run.library.path = "/usr/lib/x86_64-linux-gnu/kelptest/vendor/libkelpapi2.so.2.7.1";
  run.connected = true;
  run.results.push_back(check_of("run.open", Verdict::passed));
  run.results.push_back(check_of("connection.second_session", Verdict::failed));
  run.results.push_back(check_of("history.byname.roundtrip", Verdict::passed));
  CheckResult &failed = run.results[1];
  failed.evidence.compared = 4812;
  failed.evidence.that(
      false, [] { return "value of W3.KELPCHECK01.P00001 (R8), row 17 of 360"; }, "12.5", "13");
  failed.output = "the library has something to say about this, and takes its time to say it";
  run.findings = {{"A second value at the same time", "replaces the first"},
                  {"Statistics: flow", "steps, from the first value to the interval's end"}};
  for (Figure &figure : run.figures.all) figure.add(1'234'567, 1000);
  return run;
}

std::string text_of(const Run &run, int columns) {
  std::ostringstream out;
  TextReport report(run, out, columns, {{"run.open", 1}});
  report.begin();
  for (const CheckResult &result : run.results) report.check_ended(result);
  report.end();
  return out.str();
}

// Without colours.
std::string plain(const std::string &line) {
  std::string shown;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\033') i = line.find('m', i) + 1;
    if (i < line.size()) shown += line[i];
  }
  return shown;
}

TEST(TextReport, FitsTheTerminalAndIsWholeWithoutOne) {
  const CheckOptions options;
  const kelpcheck::Run run = failed_run(options);
  for (const int columns : {40, 60, 80, 132}) {
    const std::vector<std::string> lines = lines_of(text_of(run, columns));
    EXPECT_GT(lines.size(), 40u);
    for (const std::string &line : lines) {
      EXPECT_LE(width_of(plain(line)), static_cast<size_t>(columns)) << line;
    }
  }
  const std::string whole = text_of(run, 0);
  for (const std::string &title : Figure::titles()) EXPECT_THAT(whole, HasSubstr("  " + title));
  EXPECT_THAT(text_of(run, 80), HasSubstr("  longest\n"));
}

TEST(TextReport, HasAFigureOfEveryOperationThatWasCalledAndOfNoOther) {
  const CheckOptions options;
  kelpcheck::Run run = failed_run(options);
  run.figures.all[5] = Figure{};
  const std::string report = text_of(run, 0);
  for (int op = 0; op < kOperations; ++op) {
    const bool shown = report.find(kOperationNames[op] + std::string(" ")) != std::string::npos;
    EXPECT_EQ(shown, op != 5) << kOperationNames[op];
  }
}

TEST(TextReport, EndsWithTheFailuresAndTheVerdict) {
  const CheckOptions options;
  const kelpcheck::Run run = failed_run(options);
  const std::string report = text_of(run, 0);
  const size_t tables = report.find("This server");
  const size_t promise = report.find("Every point has", tables);
  ASSERT_NE(promise, std::string::npos) << report;
  EXPECT_GT(report.find("expected 12.5, got 13", tables), promise);
  EXPECT_THAT(lines_of(report).back(), HasSubstr("FAILED: 2 of 3 checks passed, 1 failed"));
  EXPECT_THAT(lines_of(report).back(), HasSubstr("50 points x 360 rows"));
}

TEST(Colours, AreWantedWhereNothingInTheEnvironmentSpeaksAgainstThem) {
  const struct {
    const char *no_colour, *terminal;
    bool wanted;
  } cases[] = {{nullptr, "xterm", true},
               {"", "xterm", true},
               {"1", "xterm", false},
               {nullptr, "dumb", false},
               {nullptr, nullptr, true}};
  const auto set = [](const char *variable, const char *value) {
    return value == nullptr ? unsetenv(variable) : setenv(variable, value, 1);
  };
  for (const auto &[no_colour, terminal, wanted] : cases) {
    ASSERT_EQ(set("NO_COLOR", no_colour) + set("TERM", terminal), 0);
    EXPECT_EQ(colours_wanted(), wanted) << (terminal == nullptr ? "no TERM" : terminal);
  }
}

TEST(Wrapped, KeepsAllWordsAndBreaksLongOnes) {
  EXPECT_EQ(wrapped("one two three", 7), (std::vector<std::string>{"one two", "three"}));
  EXPECT_EQ(wrapped("abcdefgh ij", 3), (std::vector<std::string>{"abc", "def", "gh", "ij"}));
  EXPECT_EQ(wrapped("\u00e4\u00f6\u00fc \u00e4", 3),
            (std::vector<std::string>{"\u00e4\u00f6\u00fc", "\u00e4"}));
  EXPECT_EQ(wrapped("any length", 0), std::vector<std::string>{"any length"});
}

TEST(Estimate, GoesDownWhileAServerKeepsItsPace) {
  std::map<std::string, double> weights;
  const auto name = [](int i) { return "check " + std::to_string(i); };
  for (int i = 0; i < 20; ++i) weights[name(i)] = 1 + i % 5;
  Estimate estimate(weights);
  double last = 0;
  for (int i = 0; i < 20; ++i) {
    const double seconds = weights[name(i)] * (i % 2 == 0 ? 1.1 : 0.9);  // roughly as expected
    for (double elapsed = 0; elapsed < seconds; elapsed += 0.1) {
      const double left = estimate.left(name(i), elapsed);
      if (last > 0) {
        EXPECT_LE(left, last) << i;
        EXPECT_GT(left, 0);
      }
      last = left;
    }
    estimate.ended(name(i), seconds);
  }
  EXPECT_LT(last, 2);
}

TEST(Figure, OfTwoProcessesIsThatOfAllTheirCalls) {
  Figure all{}, one{}, other{};
  for (int i = 1; i <= 1000; ++i) {
    const int64_t time = i * i * 1000;
    all.add(time, i);
    (i % 3 == 0 ? one : other).add(time, i);
  }
  one.merge(other);
  one.merge(Figure{});
  EXPECT_EQ(one.cells(), all.cells());
  for (const double share : {0.01, 0.5, 0.95, 0.999}) {
    const double exact = std::pow(std::floor(share * 1000) + 1, 2) * 1000;
    EXPECT_NEAR(one.quantile(share), exact, exact * 0.04);
    EXPECT_EQ(one.quantile(share), all.quantile(share));
  }
}

TEST(Printable, LeavesWholeCharactersAndNothingElse) {
  const struct {
    std::string bytes, shown;
  } cases[] = {
      {"plain, \u00e9 \u20ac \U0001f600", "plain, \u00e9 \u20ac \U0001f600"},
      {std::string("\0\x1b[2J\x7f", 6), "\u2400\u241b[2J\u2421"},
      {"a\nb", "a\u240ab"},
      {"\u0085", "\ufffd"},                                          // of the upper range
      {"\xc3", "\ufffd"},                                            // cut off
      {"\xc0\x80 \xe0\x80\x80", "\ufffd\ufffd \ufffd\ufffd\ufffd"},  // overlong
      {"\xed\xa0\x80", "\ufffd\ufffd\ufffd"},                        // half a pair
      {"\xf4\x90\x80\x80", "\ufffd\ufffd\ufffd\ufffd"},              // beyond the last one
      {"\xf5\xff\x80z", "\ufffd\ufffd\ufffdz"},                      // never a first byte
  };
  for (const auto &c : cases) EXPECT_EQ(printable(c.bytes), c.shown);
  EXPECT_EQ(printable("a\nb", true), "a\nb");
}

TEST(Show, GivesEveryNumberWithAllItsDigits) {
  for (const double value : {0.1, -1.0 / 3, 1e300, 5e-324, -2.2e-308, 1e-310}) {
    EXPECT_EQ(std::strtod(show(value).c_str(), nullptr), value);
  }
  EXPECT_EQ(show(5e-324), "4.94065645841247e-324");
  EXPECT_EQ(show(std::nan("")), "nan");
}

}  // namespace kelpcheck
