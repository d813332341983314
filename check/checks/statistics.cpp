// Statistics per interval against a calculation of this tool's own. Servers define some of them
// differently; for each field there is a list of definitions, of which those are dropped that a row
// contradicts. One has to be left when all rows of all points have been seen, and is reported.
#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

constexpr int kFields = 10, kMost = 6;  // definitions of a field
enum FieldNumber { kTime, kStatus, kFlow, kMax, kMin, kMaxTime, kMinTime, kAvg, kMean, kStdev };

#define AREAS                                                                            \
  "steps, from the first value to the interval's end", "steps, over the whole interval", \
      "steps, between the first and the last value",                                     \
      "straight lines, from the first value to the interval's end",                      \
      "straight lines, over the whole interval",                                         \
      "straight lines, between the first and the last value"
const struct {
  const char *name;
  const char *definitions[kMost];
} kDefinitions[kFields] = {
    {"time", {"the interval's start", "the interval's end", "the first value", "the last value"}},
    {"status",
     {"all bits of the values' statuses", "the first value's", "the last value's", "the largest",
      "the smallest", "0"}},
    {"flow", {AREAS}},
    {"max", {"the largest value"}},
    {"min", {"the smallest value"}},
    {"maxtime", {"when it first occurred", "when it last occurred"}},
    {"mintime", {"when it first occurred", "when it last occurred"}},
    {"avg", {AREAS}},
    {"mean", {"arithmetic"}},
    {"stdev", {"of the population (n)", "of a sample (n - 1)"}}};
#undef AREAS

using Row = std::array<std::array<double, kMost>, kFields>;  // by field and definition

// The values of one interval [start, end) with the neighbours before and behind them, if any.
struct Interval {
  int32_t start, end;
  std::vector<Sample> samples;
  std::optional<Sample> before, behind;
};

double on_line(const Sample &a, const Sample &b, double time) {
  return a.value + (b.value - a.value) * (time - a.time) / (double(b.time) - a.time);
}

// The area under the curve, and divided by the time that it covers: from the first value to the
// interval's end, over the whole interval, and from the first to the last value.
void add_areas(const Interval &in, bool lines, double *flow, double *avg) {
  const Sample &first = in.samples.front(), &last = in.samples.back();
  double inside = 0;
  for (size_t i = 1; i < in.samples.size(); ++i) {
    const Sample &a = in.samples[i - 1], &b = in.samples[i];
    inside += (lines ? (a.value + b.value) / 2 : a.value) * (double(b.time) - a.time);
  }
  const double at_end = lines && in.behind ? on_line(last, *in.behind, in.end) : last.value;
  const double tail = (last.value + at_end) / 2 * (double(in.end) - last.time);
  double head = 0;
  if (in.before) {
    const double at_start = lines ? on_line(*in.before, first, in.start) : in.before->value;
    head = (at_start + (lines ? first.value : at_start)) / 2 * (double(first.time) - in.start);
  }
  const double to_end = double(in.end) - first.time;
  const double areas[] = {inside + tail, head + inside + tail, inside};
  const double times[] = {to_end, in.before ? double(in.end) - in.start : to_end,
                          double(last.time) - first.time};
  for (int i = 0; i < 3; ++i) {
    flow[i] = areas[i];
    avg[i] = times[i] > 0 ? areas[i] / times[i] : first.value;
  }
}

// In the order of the definitions.
Row expected_row(const Interval &in) {
  const std::vector<Sample> &s = in.samples;
  const Sample *max = &s[0], *min = &s[0], *last_max = &s[0], *last_min = &s[0];
  int16_t bits = 0, largest = INT16_MIN, smallest = INT16_MAX;
  long double sum = 0, squares = 0;
  for (const Sample &x : s) {
    if (x.value > max->value) max = &x;
    if (x.value >= last_max->value) last_max = &x;
    if (x.value < min->value) min = &x;
    if (x.value <= last_min->value) last_min = &x;
    bits = static_cast<int16_t>(bits | x.status);
    largest = std::max(largest, x.status);
    smallest = std::min(smallest, x.status);
    sum += x.value;
  }
  const auto n = static_cast<long double>(s.size());
  for (const Sample &x : s) squares += (x.value - sum / n) * (x.value - sum / n);
  Row row{};
  row[kTime] = {double(in.start), double(in.end), double(s.front().time), double(s.back().time)};
  row[kStatus] = {double(bits),    double(s.front().status), double(s.back().status),
                  double(largest), double(smallest),         0};
  row[kMax] = {max->value};
  row[kMin] = {min->value};
  row[kMaxTime] = {double(max->time), double(last_max->time)};
  row[kMinTime] = {double(min->time), double(last_min->time)};
  row[kMean] = {static_cast<double>(sum / n)};
  row[kStdev] = {static_cast<double>(std::sqrt(squares / n)),
                 n > 1 ? static_cast<double>(std::sqrt(squares / (n - 1))) : 0};
  add_areas(in, false, &row[kFlow][0], &row[kAvg][0]);
  add_areas(in, true, &row[kFlow][3], &row[kAvg][3]);
  return row;
}

// Goes through a point's rows interval by interval; keeps the samples of one.
class Intervals {
 public:
  Intervals(const Window &window, size_t point, int32_t step)
      : window_(window), point_(point), step_(step), start_(window.begin - step) {}

  // The next interval, also one without values; false behind the window.
  bool next(Interval &in) {
    start_ += step_;
    if (start_ >= window_.end) return false;
    in = {start_, start_ + step_, {}, in.samples.empty() ? in.before : in.samples.back(), {}};
    for (; row_ < window_.rows; ++row_) {
      const Sample sample = window_.at(point_, row_);
      if (sample.time >= in.end) {
        in.behind = sample;
        break;
      }
      in.samples.push_back(sample);
    }
    return true;
  }

 private:
  const Window &window_;
  size_t point_;
  int32_t step_, start_;
  int64_t row_ = 0;
};

// Which definitions have not been contradicted yet.
class Hypotheses {
 public:
  explicit Hypotheses(Bed &bed) : bed_(bed) {
    for (int f = 0; f < kFields; ++f) {
      for (int d = 0; d < kMost; ++d) left_[f][d] = kDefinitions[f].definitions[d] != nullptr;
    }
  }

  void compare(const Row &want, const StatValue &have, const std::string &point, int32_t kind) {
    const double got[] = {
        double(have.time),    double(have.status),  have.flow, have.max,  have.min,
        double(have.maxtime), double(have.mintime), have.avg,  have.mean, have.stdev};
    const double size = std::max(std::abs(want[kMax][0]), std::abs(want[kMin][0]));
    // Sums may be taken in another order, those of AX in 32 bits; what is one of the values is
    // exact.
    const double tolerance = size * (kind == AX ? 1e-5 : 1e-9);
    for (int f = 0; f < kFields; ++f) {
      const bool sum = f == kFlow || f >= kAvg;
      const double off = !sum         ? 0
                         : f == kFlow ? tolerance * (want[kTime][1] - want[kTime][0])
                                      : tolerance;
      compare_field(f, want[f], got[f], off, point, want[kTime][0]);
    }
  }

  void report() const {
    for (int f = 0; f < kFields; ++f) {
      std::string answer;
      for (int d = 0; d < kMost && kDefinitions[f].definitions[1] != nullptr; ++d) {
        if (left_[f][d])
          answer += text(answer.empty() ? "" : ", or ", kDefinitions[f].definitions[d]);
      }
      if (!answer.empty()) bed_.c.finding(text("Statistics: ", kDefinitions[f].name), answer);
    }
  }

 private:
  void compare_field(int f, const std::array<double, kMost> &want, double got, double tolerance,
                     const std::string &point, double start) {
    std::array<bool, kMost> left{};
    bool any = false;
    int best = -1;  // of those that held so far, for the evidence
    for (int d = kMost; d-- > 0;) {
      if (!left_[f][d]) continue;
      best = d;
      left[d] = want[d] == got || std::abs(want[d] - got) <= tolerance;
      any = any || left[d];
    }
    if (any) left_[f] = left;
    ++bed_.c.evidence.compared;
    if (any || bed_.c.evidence.differences++ > 0) return;
    bed_.c.evidence.keep(text(kDefinitions[f].name, " of ", point, " in the interval from ",
                              clock_text(static_cast<int64_t>(start))),
                         text(show(want[best]), " (", kDefinitions[f].definitions[best], ")"),
                         show(got));
  }

  Bed &bed_;
  std::array<std::array<bool, kMost>, kFields> left_;
};

// One point's rows, for one step, in one of the two ways there are with empty intervals.
struct Question {
  const Window &window;
  size_t point;
  int32_t step;
};
void expect_point(Bed &bed, Hypotheses &hypotheses, const Question &asked, const History &history,
                  size_t result) {
  const auto &[window, point, step] = asked;
  Evidence &e = bed.c.evidence;
  if (!e.equal(0, history.errors[result], [&] { return "entry of " + bed.names[point]; })) return;
  int64_t filled = 0, all = 0;
  Interval in{};
  for (Intervals walk(window, point, step); walk.next(in); ++all)
    filled += in.samples.empty() ? 0 : 1;
  const int64_t rows = history.rows(result);
  const auto where = [&] { return "rows of statistics of " + bed.names[point]; };
  const bool with_empty = rows == all && all != filled;
  if (!e.that(rows == filled || with_empty, where, text(filled), text(rows))) return;
  if (all != filled && point == 0) {
    bed.c.finding("Statistics: an interval without values",
                  with_empty ? "has a row" : "has no row");
  }
  in = {};
  for (Intervals walk(window, point, step); walk.next(in);) {
    if (in.samples.empty() && !with_empty) continue;
    const StatValue row = history.next_statistics(result);
    if (!in.samples.empty())
      hypotheses.compare(expected_row(in), row, bed.names[point], bed.kind(point));
  }
}

void statistics(Bed &bed, bool by_name) {
  const Window window(bed, by_name);
  const auto order = shuffled(bed.points());
  write_history(bed, false, window, order);
  Hypotheses hypotheses(bed);
  for (const int32_t step : {50, 10, window.end - window.begin}) {
    const std::vector<int32_t> modes(order.size(), HistoryStatistics);
    const History history =
        bed.session->history(bed.who(by_name, order), modes, window.begin, window.end, step);
    for (size_t i = 0; i < order.size(); ++i) {
      expect_point(bed, hypotheses, {window, order[i], step}, history, i);
      bed.c.progress(static_cast<int64_t>(i) + 1, static_cast<int64_t>(order.size()));
    }
  }
  if (!by_name) hypotheses.report();
}

void byid(Bed &bed) { statistics(bed, false); }
void byname(Bed &bed) { statistics(bed, true); }

// Each point has its own mode: rows and statistics in turn in one query.
void mixed_modes(Bed &bed) {
  const Window window(bed, 2, kFew);
  const auto some = some_of(bed.points());
  write_history(bed, false, window, some);
  Hypotheses hypotheses(bed);
  std::vector<int32_t> modes(some.size(), HistoryTimed);
  for (size_t i = 0; i < some.size(); i += 2) modes[i] = HistoryStatistics;
  const History history =
      bed.session->history(bed.who(false, some), modes, window.begin, window.end, 50);
  for (size_t i = 0; i < some.size(); ++i) {
    if (modes[i] == HistoryTimed) expect_rows(bed, history, i, {window, some[i], 0, window.rows});
    if (modes[i] != HistoryTimed) expect_point(bed, hypotheses, {window, some[i], 50}, history, i);
  }
}

}  // namespace

Family statistics_family() {
  return {"statistics",
          Tree::made,
          {{"statistics.byid",
            "Statistics by id are those of the values written, by definitions that "
            "hold throughout.",
            byid, 8},
           {"statistics.byname", "The same by name.", byname, 8},
           {"statistics.mixed_modes", "Each point of a query has its own mode.", mixed_modes, 2}}};
}

}  // namespace kelpcheck
