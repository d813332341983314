#include "habits/interval.h"

#include <algorithm>
#include <cmath>

namespace kelpcheck {

namespace {

double on_line(const Sample &a, const Sample &b, double time) {
  return a.value + (b.value - a.value) * (time - a.time) / (double(b.time) - a.time);
}

// The area under the curve, and the time that it covers.
struct Area {
  Answer answer;
  double area, seconds;
};

struct Curve {
  bool lines;
  bool with_before, with_behind;
};

void add_areas(const Interval &in, const Curve &curve, std::vector<Area> &areas) {
  const bool lines = curve.lines;
  const Sample &first = in.samples.front(), &last = in.samples.back();
  double inside = 0;
  for (size_t i = 1; i < in.samples.size(); ++i) {
    const Sample &a = in.samples[i - 1], &b = in.samples[i];
    const double height = lines ? a.value / 2 + b.value / 2 : a.value;
    inside += height * (double(b.time) - a.time);
  }
  const double held = last.value * (double(in.end) - last.time);
  double tail = held;
  if (lines && curve.with_behind) {
    const double at_end = on_line(last, *in.behind, double(in.end));
    tail = (last.value / 2 + at_end / 2) * (double(in.end) - last.time);
  }
  double head = 0;
  if (curve.with_before) {
    const double at_start = lines ? on_line(*in.before, first, double(in.start)) : in.before->value;
    const double at_first = lines ? first.value : at_start;
    head = (at_start / 2 + at_first / 2) * (first.time - double(in.start));
  }
  const double from = curve.with_before ? double(in.start) : double(first.time);
  const double end = double(in.end), last_time = double(last.time);
  const double whole = head + inside + tail;
  const double to_end = end - first.time, between = last_time - first.time;
  if (lines) {
    areas.push_back({Answer::lines_to_end, inside + tail, to_end});
    areas.push_back({Answer::lines_whole, whole, end - from});
    areas.push_back({Answer::lines_between, inside, between});
    areas.push_back({Answer::lines_known, inside + held, to_end});
    return;
  }
  const double back = first.value * (double(first.time) - double(in.start));
  areas.push_back({Answer::steps_to_end, inside + tail, to_end});
  areas.push_back({Answer::steps_whole, whole, end - from});
  areas.push_back({Answer::steps_between, inside, between});
  areas.push_back({Answer::steps_back, back + inside + tail, end - double(in.start)});
  areas.push_back({Answer::steps_known, head + inside, last_time - from});
}

// Whether a server may calculate with the value beside the interval, or without it: with it if
// there is one, without it unless the range holds it.
bool may_use(const std::optional<Sample> &neighbour, bool in_range, bool use) {
  if (use) return neighbour.has_value();
  return !neighbour || !in_range;
}

std::vector<Area> areas_of(const Interval &in) {
  std::vector<Area> areas;
  for (const bool lines : {false, true}) {
    for (const bool with_before : {true, false}) {
      if (!may_use(in.before, in.before_in_range, with_before)) continue;
      for (const bool with_behind : {true, false}) {
        if (!may_use(in.behind, in.behind_in_range, with_behind)) continue;
        add_areas(in, {lines, with_before, with_behind}, areas);
      }
    }
  }
  return areas;
}

struct Extremes {
  const Sample *max, *min, *last_max, *last_min;
};

Extremes extremes_of(const std::vector<Sample> &samples) {
  const Sample *first = samples.data();
  Extremes e{first, first, first, first};
  for (const Sample &x : samples) {
    if (x.value > e.max->value) e.max = &x;
    if (x.value >= e.last_max->value) e.last_max = &x;
    if (x.value < e.min->value) e.min = &x;
    if (x.value <= e.last_min->value) e.last_min = &x;
  }
  return e;
}

ExpectedField status_field(const std::vector<Sample> &samples) {
  int16_t bits = 0, largest = INT16_MIN, smallest = INT16_MAX;
  for (const Sample &x : samples) {
    bits = static_cast<int16_t>(bits | x.status);
    largest = std::max(largest, x.status);
    smallest = std::min(smallest, x.status);
  }
  return {"status",
          Question::statistics_status,
          {{Answer::all_bits, double(bits)},
           {Answer::first, double(samples.front().status)},
           {Answer::last, double(samples.back().status)},
           {Answer::largest, double(largest)},
           {Answer::smallest, double(smallest)},
           {Answer::zero, 0}},
          0,
          INT16_MIN,
          INT16_MAX,
          [](const StatValue &row) { return double(row.status); }};
}

ExpectedField time_field(const Interval &in) {
  const double start = double(in.start), end = double(in.end);
  ExpectedField field{"time",
                      Question::statistics_time,
                      {{Answer::start, start},
                       {Answer::start, double(in.grid_start)},
                       {Answer::end, end},
                       {Answer::inside, end - 1},
                       {Answer::middle, double(in.start + (in.end - in.start) / 2)},
                       {Answer::first, double(in.samples.front().time)},
                       {Answer::last, double(in.samples.back().time)}},
                      0,
                      double(in.grid_start),
                      end,
                      [](const StatValue &row) { return double(row.time); }};
  return field;
}

void add_mean_and_deviation(const Interval &in, double tolerance,
                            std::vector<ExpectedField> &fields) {
  const std::vector<Sample> &s = in.samples;
  const auto n = static_cast<long double>(s.size());
  long double sum = 0, squares = 0;
  for (const Sample &x : s) sum += x.value;
  const long double mean = sum / n;
  for (const Sample &x : s) squares += (x.value - mean) * (x.value - mean);
  fields.push_back({"mean",
                    {},
                    {{Answer::kept, double(mean)}},
                    tolerance,
                    double(mean),
                    double(mean),
                    [](const StatValue &row) { return row.mean; }});
  const auto of_sample = n > 1 ? double(std::sqrt(squares / (n - 1))) : 0;
  const double population = double(std::sqrt(squares / n));
  fields.push_back({"stdev",
                    Question::statistics_stdev,
                    {{Answer::population, population},
                     {Answer::population_nan, n > 1 ? population : std::nan("")},
                     {Answer::sample, of_sample},
                     {Answer::one_is_nan, n > 1 ? of_sample : std::nan("")}},
                    tolerance,
                    population,
                    of_sample,
                    [](const StatValue &row) { return row.stdev; }});
}

}  // namespace

bool ExpectedField::matches(const Candidate &candidate, double got) const {
  if (std::isnan(candidate.value)) return std::isnan(got);
  return candidate.value == got || std::abs(candidate.value - got) <= tolerance;
}

Answers ExpectedField::allowed_by(double got) const {
  Answers allowed;
  for (const Candidate &candidate : candidates) {
    if (matches(candidate, got)) allowed = allowed | candidate.answer;
  }
  return allowed;
}

bool ExpectedField::in_bounds(double got) const {
  return got >= lowest - tolerance && got <= highest + tolerance;
}

// Sums may be taken in another order, those of AX in 32 bits; what is one of the values is exact.
std::vector<ExpectedField> expected_fields(const Interval &in, int32_t kind) {
  const Extremes e = extremes_of(in.samples);
  double low = e.min->value, high = e.max->value;
  for (const auto &neighbour : {in.before, in.behind}) {
    if (neighbour) low = std::min(low, neighbour->value);
    if (neighbour) high = std::max(high, neighbour->value);
  }
  const double size = std::max(std::abs(low), std::abs(high));
  const double tolerance = size * (kind == AX ? 1e-5 : 1e-9);
  const double length = double(in.end) - in.start;
  const double known = double(in.samples.back().time) - in.samples.front().time;
  ExpectedField flow{"flow",
                     Question::statistics_flow,
                     {},
                     tolerance * length,
                     std::min(low * length, low * known),
                     std::max(high * length, high * known),
                     [](const StatValue &row) { return row.flow; }};
  ExpectedField avg{
      "avg", Question::statistics_avg, {}, tolerance, low, high, [](const StatValue &row) {
        return row.avg;
      }};
  for (const Area &area : areas_of(in)) {
    flow.candidates.push_back({area.answer, area.area});
    avg.candidates.push_back(
        {area.answer, area.seconds > 0 ? area.area / area.seconds : in.samples.front().value});
  }
  const auto exact = [](const char *name, double value, double (*read)(const StatValue &)) {
    return ExpectedField{name, {}, {{Answer::kept, value}}, 0, value, value, read};
  };
  const auto moment = [](const char *name, Question question, int32_t first, int32_t last,
                         double (*read)(const StatValue &)) {
    return ExpectedField{
        name, question,      {{Answer::first, double(first)}, {Answer::last, double(last)}},
        0,    double(first), double(last),
        read};
  };
  std::vector<ExpectedField> fields;
  fields.push_back(time_field(in));
  fields.push_back(status_field(in.samples));
  fields.push_back(flow);
  fields.push_back(exact("max", e.max->value, [](const StatValue &row) { return row.max; }));
  fields.push_back(exact("min", e.min->value, [](const StatValue &row) { return row.min; }));
  fields.push_back(moment("maxtime", Question::statistics_maxtime, e.max->time, e.last_max->time,
                          [](const StatValue &row) { return double(row.maxtime); }));
  fields.push_back(moment("mintime", Question::statistics_mintime, e.min->time, e.last_min->time,
                          [](const StatValue &row) { return double(row.mintime); }));
  fields.push_back(avg);
  add_mean_and_deviation(in, tolerance, fields);
  return fields;
}

std::vector<Interval> intervals_of(const Grid &grid, const std::vector<Sample> &samples) {
  std::vector<Interval> all;
  const int64_t begin = grid.begin, end = grid.end;
  const int64_t step = grid.step > 0 ? grid.step : end - begin;
  if (step <= 0) return all;
  int64_t start = begin;
  if (grid.starts == Answer::multiples) start = begin - ((begin % step) + step) % step;
  size_t next = 0;
  while (next < samples.size() && samples[next].time < begin) ++next;
  for (; start < end; start += step) {
    Interval in;
    in.grid_start = start;
    in.start = std::max(start, begin);
    in.end = start + step;
    if (in.end > end && grid.last == Answer::left_out) break;
    if (in.end > end && grid.last == Answer::cut) in.end = end;
    if (next > 0) in.before = samples[next - 1];
    in.before_in_range = in.before && in.before->time >= begin;
    const int64_t until = grid.beyond_end ? in.end : std::min(in.end, end);
    for (; next < samples.size() && samples[next].time < until; ++next) {
      in.samples.push_back(samples[next]);
    }
    if (next < samples.size()) in.behind = samples[next];
    in.behind_in_range = in.behind && in.behind->time < end;
    all.push_back(in);
  }
  return all;
}

}  // namespace kelpcheck
