// First it finds out which intervals there are, by the fields that all definitions have in common:
// only those layouts remain whose rows have the right largest, smallest and mean values.
#include "checks/statistics_rows.h"

#include <algorithm>
#include <cmath>

namespace kelpcheck {

namespace {

// One way to lay the intervals, and which of those without values have a row.
struct Layout {
  Answer starts, last, empty;
  bool beyond_end;
};

std::vector<Interval> with_rows(const StatisticsQuery &query, const Layout &layout,
                                const std::vector<Sample> &samples) {
  const Grid grid{query.begin,   query.end,   query.step,
                  layout.starts, layout.last, layout.beyond_end};
  std::vector<Interval> all;
  bool had_value = false;
  for (Interval &interval : intervals_of(grid, samples)) {
    const bool has_value = !interval.samples.empty();
    had_value = had_value || has_value;
    const bool row_without_value =
        layout.empty == Answer::yes || (layout.empty == Answer::later && had_value);
    if (has_value || row_without_value) all.push_back(std::move(interval));
  }
  return all;
}

// Largest, smallest and mean value need no habit.
bool common_fields_match(const Interval &interval, int32_t kind, const StatValue &row) {
  double max = interval.samples.front().value, min = max;
  long double sum = 0;
  for (const Sample &sample : interval.samples) {
    max = std::max(max, sample.value);
    min = std::min(min, sample.value);
    sum += sample.value;
  }
  if (row.max != max || row.min != min) return false;
  const auto mean = double(sum / static_cast<long double>(interval.samples.size()));
  const double size = std::max(std::abs(max), std::abs(min));
  const double tolerance = size * (kind == AX ? 1e-5 : 1e-9);
  return std::abs(row.mean - mean) <= tolerance;
}

bool fits(const std::vector<Interval> &intervals, int32_t kind,
          const std::vector<StatValue> &rows) {
  if (intervals.size() != rows.size()) return false;
  for (size_t i = 0; i < rows.size(); ++i) {
    if (intervals[i].samples.empty()) continue;
    if (!common_fields_match(intervals[i], kind, rows[i])) return false;
  }
  return true;
}

std::vector<Layout> layouts_left(const Habits &habits) {
  std::vector<Layout> layouts;
  for (const Answer starts : {Answer::begin, Answer::multiples}) {
    for (const Answer last : {Answer::cut, Answer::whole, Answer::left_out}) {
      for (const Answer empty : {Answer::no, Answer::yes, Answer::later}) {
        const bool left = habits.may(Question::statistics_grid, starts) &&
                          habits.may(Question::statistics_last, last) &&
                          habits.may(Question::statistics_empty, empty);
        if (!left) continue;
        layouts.push_back({starts, last, empty, false});
        if (last == Answer::whole) layouts.push_back({starts, last, empty, true});
      }
    }
  }
  return layouts;
}

void keep_difference(Evidence &e, const StatisticsQuery &query, const std::vector<Interval> &want,
                     const std::vector<StatValue> &rows) {
  const std::string where = text("statistics of ", query.name, " from ", clock_text(query.begin),
                                 " to ", clock_text(query.end), " in steps of ", query.step, " s");
  if (e.differences++ > 0) return;
  for (size_t i = 0; i < std::min(want.size(), rows.size()); ++i) {
    if (want[i].samples.empty()) continue;
    for (const ExpectedField &field : expected_fields(want[i], query.kind)) {
      const double got = field.read(rows[i]);
      if (field.question || !field.allowed_by(got).empty()) continue;
      e.keep(text(field.name, " in row ", i + 1, " of ", where), show(field.candidates[0].value),
             show(got));
      return;
    }
  }
  e.keep(where, text(want.size(), " rows"), text(rows.size(), " rows"));
}

// One field of one row: within the bounds of every definition, and by one that is left.
void compare_field(Bed &bed, Evidence &e, const ExpectedField &field, const StatValue &row,
                   const std::string &where) {
  const double got = field.read(row);
  const std::string what = field.name + (" of " + where);
  Answers allowed = field.allowed_by(got);
  const bool any_number = field.question == Question::statistics_status;
  if (any_number) allowed = allowed | Answer::changed;
  const bool bounded = !allowed.empty() || field.in_bounds(got);
  e.that(
      bounded, [&] { return what; },
      text("between ", show(field.lowest), " and ", show(field.highest)), show(got));
  if (!bounded) return;
  if (!bed.c.habits.unknown(*field.question).empty()) return;  // may be any of them by chance
  // What is in no list is one answer, whatever its number.
  const std::string said = allowed.empty() ? "by none of the definitions known here" : show(got);
  bed.c.read(*field.question, allowed, what, said);
}

}  // namespace

std::vector<StatValue> statistics_of(const History &history, size_t result) {
  std::vector<StatValue> rows;
  const int32_t count = history.errors[result] == 0 ? history.rows(result) : 0;
  for (int32_t row = 0; row < count; ++row) rows.push_back(history.next_statistics(result));
  return rows;
}

Seen compare_statistics(Bed &bed, Evidence &e, const StatisticsQuery &query,
                        const std::vector<Sample> &samples, const std::vector<StatValue> &rows) {
  Answers starts, last, empty;
  std::vector<Interval> fitting;
  const std::vector<Layout> layouts = layouts_left(bed.c.habits);
  for (const Layout &layout : layouts) {
    std::vector<Interval> intervals = with_rows(query, layout, samples);
    if (!fits(intervals, query.kind, rows)) continue;
    if (starts.empty()) fitting = std::move(intervals);
    starts = starts | layout.starts;
    last = last | layout.last;
    empty = empty | layout.empty;
  }
  ++e.compared;
  if (starts.empty()) {
    keep_difference(e, query, with_rows(query, layouts.front(), samples), rows);
    return Seen::earlier;  // values may still be on their way
  }
  const std::string where = text(query.name, ", steps of ", query.step, " s");
  bed.c.read(Question::statistics_grid, starts, where, text(rows.size(), " rows"));
  bed.c.read(Question::statistics_last, last, where, text(rows.size(), " rows"));
  bed.c.read(Question::statistics_empty, empty, where, text(rows.size(), " rows"));
  for (size_t i = 0; i < rows.size(); ++i) {
    if (fitting[i].samples.empty()) continue;
    const std::string place =
        text(query.name, " in the interval from ", clock_text(fitting[i].start));
    for (const ExpectedField &field : expected_fields(fitting[i], query.kind)) {
      ++e.compared;
      if (field.question) compare_field(bed, e, field, rows[i], place);
    }
  }
  return e.differences == 0 ? Seen::expected : Seen::wrong;
}

}  // namespace kelpcheck
