#include "explore/summary.h"

#include <chrono>
#include <cmath>

#include "result/text.h"

namespace kelpcheck::explore {

namespace {

struct Sample {
  int32_t time;
  Row row;
};

// One row over [start, end), of at least one sample.
struct Summary {
  int64_t start, end;
  std::vector<Sample> samples;
};

double area(const Summary &in) {
  double area = 0;
  for (size_t i = 0; i < in.samples.size(); ++i) {
    const Sample &sample = in.samples[i];
    const bool last = i + 1 == in.samples.size();
    const int64_t until = last ? in.end : in.samples[i + 1].time;
    area += sample.row.value * static_cast<double>(until - sample.time);
  }
  return area;
}

class Expected {
 public:
  Expected(Expectation &all, size_t entry, size_t row) : all_(all), entry_(entry), row_(row) {}

  void is(const char *field, const std::string &text) { at(field) = {{text}}; }
  void is(const char *field, double value, double within) {
    at(field) = {{exact(value)}, {}, false, within};
  }

 private:
  Allowed &at(const char *field) { return all_[{entry_, statistics_item(row_, field)}]; }

  Expectation &all_;
  size_t entry_, row_;
};

void expect_row(const Summary &in, bool with_status, Expected expected) {
  constexpr double least = 1e-100, most = 1e100;  // squares of others do not fit
  constexpr double relative = 1e-5;               // a server may add in 32 bits
  const Sample *max = &in.samples[0], *min = &in.samples[0];
  int status = 0;
  double sum = 0;
  for (const Sample &sample : in.samples) {
    if (sample.row.value > max->row.value) max = &sample;
    if (sample.row.value < min->row.value) min = &sample;
    status |= sample.row.status;
    sum += sample.row.value;
  }
  expected.is("time", std::to_string(in.start));
  if (with_status) expected.is("status", std::to_string(static_cast<int16_t>(status)));
  expected.is("max", exact(max->row.value));
  expected.is("min", exact(min->row.value));
  expected.is("maxtime", std::to_string(max->time));
  expected.is("mintime", std::to_string(min->time));
  const double size = std::max(std::abs(max->row.value), std::abs(min->row.value));
  if (size > most || (size != 0 && size < least)) return;
  const auto n = static_cast<double>(in.samples.size());
  const double mean = sum / n;
  double squares = 0;
  for (const Sample &sample : in.samples) {
    const double distance = sample.row.value - mean;
    squares += distance * distance;
  }
  const auto covered = static_cast<double>(in.end - in.samples[0].time);
  const double within = size * relative;
  expected.is("flow", area(in), within * covered);
  expected.is("avg", area(in) / covered, within);
  expected.is("mean", mean, within);
  expected.is("stdev", std::sqrt(squares / n), within);
}

}  // namespace

std::string rows_text(const Rows &rows) {
  if (rows.empty()) return kNone;
  std::string text;
  for (const Row &row : rows) append_item(text, row_text(row.status, row.value));
  return text;
}

std::string utc_fields(int32_t time) {
  using namespace std::chrono;
  const sys_seconds moment{seconds(time)};
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss clock(moment - day);
  return text(int(date.year()), "-", unsigned(date.month()), "-", unsigned(date.day()), " ",
              clock.hours().count(), ":", clock.minutes().count(), ":", clock.seconds().count());
}

std::string statistics_item(size_t row, const char *field) { return text(field, " of row ", row); }

void expect_statistics(const Call &call, size_t entry, const std::map<int32_t, Cell> &cells,
                       const Ways &ways, Expectation &all) {
  std::vector<Summary> rows;
  const int64_t step = call.interval > 0 ? call.interval : int64_t{call.end} - call.begin;
  const bool cut = (int64_t{call.end} - call.begin) % step != 0;
  if (cut && ways.statistics_cut != Known::yes) return;
  if (call.interval <= 0 && !ways.bundled) return;  // the whole range, or some length of its own
  if (cells.contains(call.end)) return;             // of servers that count the end of a range in
  for (const auto &[time, cell] : cells) {
    if (!cell.rows.sure() || cell.rows.good()[0].size() > 1) return;
    if (cell.rows.good()[0].empty()) continue;
    const int64_t number = (time - int64_t{call.begin}) / step;
    const int64_t start = call.begin + number * step;
    const int64_t end = std::min<int64_t>(start + step, call.end);
    if (rows.empty() || rows.back().start != start) rows.push_back({start, end, {}});
    rows.back().samples.push_back({time, cell.rows.good()[0][0]});
  }
  all[{entry, "rows"}] = {{std::to_string(rows.size())}};
  const bool with_status = ways.statistics_status == Known::yes;
  for (size_t i = 0; i < rows.size(); ++i) {
    expect_row(rows[i], with_status, Expected(all, entry, i + 1));
  }
}

}  // namespace kelpcheck::explore
