// Honest servers: what the header leaves open about history queries and statistics.
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <numeric>

#include "servers.h"

namespace planted {

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

void count_end_in(const Query &query, size_t entry, std::vector<Row> &rows) {
  if (query.begin > query.end || query.end == std::numeric_limits<int32_t>::max()) return;
  const auto at_end = rows_of(query, entry, {query.end, query.end + 1});
  rows.insert(rows.end(), at_end.begin(), at_end.end());
}

template <class Change>
void change_empty(Query &query, Change change) {
  for (size_t i = 0; i < query.results.size(); ++i) {
    ResultHandle &result = query.results[i];
    if (result && result->size() == 0) change(result, query.errors[i]);
  }
}

void empty_is_null(Query &query) {
  change_empty(query, [](ResultHandle &result, int32_t &) {
    delete result;
    result = nullptr;
  });
}

void empty_is_failed(Query &query) {
  change_empty(query, [](ResultHandle &result, int32_t &error) {
    delete result;
    result = nullptr;
    error = -8;
  });
}

void failed_has_handle(Query &query) {
  for (ResultHandle &result : query.results) {
    if (!result) result = new kelp2_result{0, HistoryTimed, {}, {}};
  }
}

void fail_when_all_fail(Query &query) {
  const auto failed = [](int32_t error) { return error != 0; };
  if (!query.errors.empty() && std::ranges::all_of(query.errors, failed)) query.result = -98;
}

bool asks_statistics(const Query &query) {
  return std::ranges::find(query.modes, HistoryStatistics) != query.modes.end();
}

template <class Change>
void change_rows(std::vector<StatValue> &rows, Change change) {
  for (StatValue &row : rows) change(row);
}

// Applies `change` to each row with its values and bounds.
template <class Change>
void remake(const Query &query, size_t entry, std::vector<StatValue> &rows, Change change) {
  for (StatValue &row : rows) {
    const Bounds bounds = bounds_of(query, row.time);
    change(row, rows_of(query, entry, bounds), bounds);
  }
}

void stamp_at_end(const Query &query, size_t, std::vector<StatValue> &rows) {
  change_rows(rows, [&](StatValue &row) { row.time = bounds_of(query, row.time).end; });
}

void stamp_in_middle(const Query &query, size_t, std::vector<StatValue> &rows) {
  change_rows(rows, [&](StatValue &row) {
    const Bounds bounds = bounds_of(query, row.time);
    row.time = std::midpoint(bounds.begin, bounds.end);
  });
}

void worst_status(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds) {
    row.status = std::ranges::max(values, {}, &Row::status).status;
  });
}

void fill_gaps(const Query &query, size_t, std::vector<StatValue> &rows) {
  if (query.interval <= 0 || (int64_t(query.end) - query.begin) / query.interval > 100000) return;
  std::vector<StatValue> all;
  size_t next = 0;
  for (int64_t begin = query.begin; begin < query.end; begin += query.interval) {
    if (next < rows.size() && rows[next].time == begin) {
      all.push_back(rows[next++]);
      continue;
    }
    const auto time = static_cast<int32_t>(begin);
    all.push_back({time, -1, 0, kNan, kNan, time, time, kNan, kNan, kNan});
  }
  rows = all;
}

void use_grid(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  if (query.interval <= 0 || query.begin >= query.end) return;
  const auto values = rows_of(query, entry, {query.begin, query.end});
  std::map<int64_t, std::vector<Row>> cells;
  for (const Row &value : values) {
    const auto cell = static_cast<int64_t>(std::floor(double(value.time) / query.interval));
    cells[cell * query.interval].push_back(value);
  }
  rows.clear();
  for (const auto &[begin, cell] : cells) {
    const int64_t end = std::min<int64_t>(begin + query.interval, query.end);
    rows.push_back(statistics_of(cell, static_cast<int32_t>(end)));
    rows.back().time = static_cast<int32_t>(std::max<int64_t>(begin, query.begin));
  }
}

void single_deviation_nan(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds) {
    if (values.size() == 1) row.stdev = kNan;
  });
}

void sample_deviation(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds) {
    const auto count = static_cast<double>(values.size());
    if (count > 1) row.stdev *= std::sqrt(count / (count - 1));
  });
}

void linear_average(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds bounds) {
    row.flow = values.back().value * (double(bounds.end) - values.back().time);
    for (size_t i = 0; i + 1 < values.size(); ++i) {
      const double seconds = double(values[i + 1].time) - values[i].time;
      row.flow += seconds * (values[i].value + values[i + 1].value) / 2;
    }
    row.avg = row.flow / (double(bounds.end) - values.front().time);
  });
}

void curve_ends_at_last_value(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds bounds) {
    const double seconds = double(values.back().time) - values.front().time;
    row.flow -= values.back().value * (double(bounds.end) - values.back().time);
    row.avg = seconds > 0 ? row.flow / seconds : values.back().value;
  });
}

void first_value_holds_backwards(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds bounds) {
    row.flow += values.front().value * (double(values.front().time) - bounds.begin);
    row.avg = row.flow / (double(bounds.end) - bounds.begin);
  });
}

void latest_extremes(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds) {
    for (const Row &value : values) {
      if (value.value == row.max) row.maxtime = value.time;
      if (value.value == row.min) row.mintime = value.time;
    }
  });
}

void nan_spreads(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  remake(query, entry, rows, [](StatValue &row, const std::vector<Row> &values, Bounds) {
    const auto is_nan = [](const Row &value) { return std::isnan(value.value); };
    if (std::ranges::any_of(values, is_nan)) row.max = row.min = kNan;
  });
}

void last_interval_whole(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  if (rows.empty() || query.interval <= 0) return;
  const int64_t end = int64_t(rows.back().time) + query.interval;
  if (end <= query.end || end > std::numeric_limits<int32_t>::max()) return;
  const Bounds whole{rows.back().time, static_cast<int32_t>(end)};
  rows.back() = statistics_of(rows_of(query, entry, whole), whole.end);
  rows.back().time = whole.begin;
}

void refuse_zero_interval(Query &query) {
  if (asks_statistics(query) && query.interval <= 0) query.result = -1;
}

const Server kHonestHistory[] = {
    {.name = "end_counted_in", .rows = count_end_in},
    {.name = "empty_has_minus_one_rows",
     .num_rows =
         [](const kelp2_result &result) {
           return result.size() == 0 ? -1 : static_cast<int32_t>(result.size());
         }},
    {.name = "empty_is_null", .queried = empty_is_null},
    {.name = "empty_is_failed_entry", .queried = empty_is_failed},
    {.name = "failed_query_has_handle", .queried = failed_has_handle},
    {.name = "positive_codes_of_queries",
     .queried =
         [](Query &query) {
           for (int32_t &error : query.errors) error = std::abs(error);
         }},
    {.name = "queries_fail_with_all_entries", .queried = fail_when_all_fail},
    {.name = "reversed_range_refused",
     .query =
         [](Query &query) {
           if (query.begin > query.end) query.result = -1;
         }},
    {.name = "empty_range_refused",
     .query =
         [](Query &query) {
           if (query.begin == query.end) query.result = -1;
         }},
    {.name = "hundred_points_a_query",
     .query =
         [](Query &query) {
           if (query.ids.size() > 100) query.result = -30;
         }},
    {.name = "slow_queries", .query = [](Query &) { usleep(5000); }},
    {.name = "results_end_with_session",
     .fetched = [](const kelp2_result &,
                   int32_t code) { return open_sessions() == 0 ? -2 : code; }},
    {.name = "last_statistics_row_is_0",
     .fetched = [](const kelp2_result &, int32_t code) { return code == 1 ? 0 : code; }},
    {.name = "every_statistics_row_is_1",
     .fetched = [](const kelp2_result &result,
                   int32_t code) { return result.mode == HistoryStatistics ? 1 : code; }},
    {.name = "statistics_at_end", .statistics = stamp_at_end},
    {.name = "statistics_at_middle", .statistics = stamp_in_middle},
    {.name = "statistics_status_zero",
     .statistics =
         [](const Query &, size_t, std::vector<StatValue> &rows) {
           change_rows(rows, [](StatValue &row) { row.status = 0; });
         }},
    {.name = "statistics_status_own_code",
     .statistics =
         [](const Query &, size_t, std::vector<StatValue> &rows) {
           change_rows(rows, [](StatValue &row) { row.status = 192; });
         }},
    {.name = "statistics_status_largest", .statistics = worst_status},
    {.name = "statistics_of_gaps", .statistics = fill_gaps},
    {.name = "statistics_on_grid", .statistics = use_grid},
    {.name = "single_deviation_nan", .statistics = single_deviation_nan},
    {.name = "sample_deviation", .statistics = sample_deviation},
    {.name = "linear_average", .statistics = linear_average},
    {.name = "curve_ends_at_last_value", .statistics = curve_ends_at_last_value},
    {.name = "first_value_holds_backwards", .statistics = first_value_holds_backwards},
    {.name = "latest_extremes", .statistics = latest_extremes},
    {.name = "nan_spreads", .statistics = nan_spreads},
    {.name = "last_interval_whole", .statistics = last_interval_whole},
    {.name = "interval_zero_refused", .query = refuse_zero_interval},
    {.name = "interval_zero_is_an_hour",
     .query =
         [](Query &query) {
           if (query.interval <= 0) query.interval = 3600;
         }},
};

}  // namespace

std::span<const Server> honest_history() { return kHonestHistory; }

}  // namespace planted
