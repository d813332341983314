// Faulty servers: statistics with one field wrong under one condition, or with rows missing.
#include <algorithm>

#include "servers.h"

namespace planted {

namespace {

using Rows = std::vector<StatValue>;

template <class Change>
void change(Rows &rows, Change one) {
  for (StatValue &row : rows) one(row);
}

// Applies `one` to each row with the values of its interval.
template <class Change>
void change_with_values(const Query &query, size_t entry, Rows &rows, Change one) {
  for (StatValue &row : rows) one(row, rows_of(query, entry, bounds_of(query, row.time)));
}

// A value at an interval's very begin is in none.
void leave_out_boundaries(const Query &query, size_t entry, Rows &rows) {
  Rows left;
  for (const StatValue &row : rows) {
    const Bounds bounds = bounds_of(query, row.time);
    auto values = rows_of(query, entry, bounds);
    std::erase_if(values, [&](const Row &value) { return value.time == bounds.begin; });
    if (values.empty()) continue;
    left.push_back(statistics_of(values, bounds.end));
    left.back().time = row.time;
  }
  rows = left;
}

void plain_mean_of_two(const Query &query, size_t entry, Rows &rows) {
  change_with_values(query, entry, rows, [](StatValue &row, const std::vector<Row> &values) {
    if (values.size() == 2) row.mean = values[0].value;
  });
}

void deviation_of_two_doubled(const Query &query, size_t entry, Rows &rows) {
  change_with_values(query, entry, rows, [](StatValue &row, const std::vector<Row> &values) {
    if (values.size() == 2) row.stdev *= 2;
  });
}

void last_is_no_maximum(const Query &query, size_t entry, Rows &rows) {
  change_with_values(query, entry, rows, [](StatValue &row, const std::vector<Row> &values) {
    if (values.size() < 2 || row.maxtime != values.back().time) return;
    const auto best = std::ranges::max_element(values.begin(), values.end() - 1, {}, &Row::value);
    row.max = best->value;
    row.maxtime = best->time;
  });
}

void first_is_no_minimum(const Query &query, size_t entry, Rows &rows) {
  change_with_values(query, entry, rows, [](StatValue &row, const std::vector<Row> &values) {
    if (values.size() < 2 || row.mintime != values.front().time) return;
    const auto best = std::ranges::min_element(values.begin() + 1, values.end(), {}, &Row::value);
    row.min = best->value;
    row.mintime = best->time;
  });
}

void remember(const Query &query, size_t entry, Rows &rows) {
  using Range = std::pair<int32_t, std::pair<int32_t, int32_t>>;
  static std::map<Range, Rows> known;
  if (rows.empty()) return;
  const Range range{query.ids[entry], {query.begin, query.end}};
  rows = known.insert({range, rows}).first->second;
}

void drop_cut_interval(const Query &query, size_t, Rows &rows) {
  if (query.interval <= 0 || rows.empty()) return;
  if (int64_t(rows.back().time) + query.interval > query.end) rows.pop_back();
}

const Server kFaultyStatistics[] = {
    {.name = "max_not_below_0",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) { row.max = std::max(row.max, 0.0); });
         }},
    {.name = "min_not_above_0",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) { row.min = std::min(row.min, 0.0); });
         }},
    {.name = "maxtime_is_row_time",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) { row.maxtime = row.time; });
         }},
    {.name = "mintime_off_before_1970",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) {
             if (row.mintime < 0) ++row.mintime;
           });
         }},
    {.name = "mean_is_weighted",
     .statistics = [](const Query &, size_t,
                      Rows &rows) { change(rows, [](StatValue &row) { row.mean = row.avg; }); }},
    {.name = "avg_is_plain",
     .statistics = [](const Query &, size_t,
                      Rows &rows) { change(rows, [](StatValue &row) { row.avg = row.mean; }); }},
    {.name = "deviation_is_variance",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) { row.stdev *= row.stdev; });
         }},
    {.name = "deviation_lost_at_large_mean",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) {
             if (std::abs(row.mean) > 1e6) row.stdev = 0;
           });
         }},
    {.name = "deviation_of_two_doubled", .statistics = deviation_of_two_doubled},
    {.name = "mean_of_two_is_first", .statistics = plain_mean_of_two},
    {.name = "flow_in_value_hours",
     .statistics =
         [](const Query &query, size_t, Rows &rows) {
           if (query.interval == 3600) change(rows, [](StatValue &row) { row.flow /= 3600; });
         }},
    {.name = "flow_not_negative",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) { row.flow = std::abs(row.flow); });
         }},
    {.name = "last_is_no_maximum", .statistics = last_is_no_maximum},
    {.name = "first_is_no_minimum", .statistics = first_is_no_minimum},
    {.name = "boundaries_left_out", .statistics = leave_out_boundaries},
    {.name = "statistics_cut_at_60",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           if (rows.size() > 60) rows.resize(60);
         }},
    {.name = "statistics_reversed_when_many",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           if (rows.size() > 10) std::ranges::reverse(rows);
         }},
    {.name = "statistics_remembered", .statistics = remember},
    {.name = "cut_interval_missing", .statistics = drop_cut_interval},
    {.name = "statistics_none_before_1970",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           std::erase_if(rows, [](const StatValue &row) { return row.mintime < 0; });
         }},
    {.name = "large_mean_is_infinite",
     .statistics =
         [](const Query &, size_t, Rows &rows) {
           change(rows, [](StatValue &row) {
             if (std::abs(row.max) >= 1e99) row.mean = HUGE_VAL;
           });
         }},
    {.name = "mean_wrong_by_name",
     .statistics =
         [](const Query &query, size_t, Rows &rows) {
           if (!query.names.empty()) change(rows, [](StatValue &row) { row.mean = row.max; });
         }},
    {.name = "statistics_fetch_is_2",
     .fetched =
         [](const kelp2_result &result, int32_t code) {
           return result.mode == HistoryStatistics && code == 1 ? 2 : code;
         }},
};

}  // namespace

std::span<const Server> faulty_statistics() { return kFaultyStatistics; }

}  // namespace planted
