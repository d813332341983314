// Faulty servers: history queries that leave rows out, add, move or alter some.
#include <algorithm>
#include <limits>

#include "servers.h"

namespace planted {

namespace {

constexpr int32_t kFirst = std::numeric_limits<int32_t>::min();
constexpr int32_t kLast = std::numeric_limits<int32_t>::max();

int64_t length(const Query &query) { return int64_t(query.end) - query.begin; }
bool by_name(const Query &query) { return !query.names.empty(); }

void drop_last(std::vector<Row> &rows) {
  if (!rows.empty()) rows.pop_back();
}
void drop_first(std::vector<Row> &rows) {
  if (!rows.empty()) rows.erase(rows.begin());
}
void cut(std::vector<Row> &rows, size_t size) {
  if (rows.size() > size) rows.resize(size);
}

void turn_reversed(Query &query) {
  if (query.begin > query.end) std::swap(query.begin, query.end);
}

void widen_empty(Query &query) {
  if (query.begin != query.end) return;
  query.begin = kFirst;
  query.end = kLast;
}

void add_earlier(const Query &query, size_t entry, std::vector<Row> &rows) {
  if (query.begin >= query.end) return;
  const auto earlier = rows_of(query, entry, {kFirst, query.begin});
  if (!earlier.empty()) rows.insert(rows.begin(), earlier.back());
}

void two_seconds_more(const Query &query, size_t entry, std::vector<Row> &rows) {
  if (query.begin >= query.end || query.end > kLast - 2) return;
  const auto later = rows_of(query, entry, {query.end, query.end + 2});
  rows.insert(rows.end(), later.begin(), later.end());
}

void negative_times_last(const Query &, size_t, std::vector<Row> &rows) {
  std::ranges::stable_partition(rows, [](const Row &row) { return row.time >= 0; });
}

void reverse_long(const Query &, size_t, std::vector<Row> &rows) {
  if (rows.size() > 50) std::ranges::reverse(rows);
}

void empty_when_named_twice(const Query &query, size_t entry, std::vector<Row> &rows) {
  const auto first = std::ranges::find(query.ids, query.ids[entry]);
  if (by_name(query) && first - query.ids.begin() < std::ptrdiff_t(entry)) rows.clear();
}

void repeat_at_1024(const Query &, size_t, std::vector<Row> &rows) {
  if (rows.size() > 1024) rows.insert(rows.begin() + 1024, rows[1023]);
}

void first_mode_for_all(Query &query) {
  if (query.modes.empty()) return;
  std::ranges::fill(query.modes, query.modes[0]);
}

void swallow_unknown(Query &query) {
  for (size_t i = 0; i < query.errors.size(); ++i) {
    if (query.errors[i] == 0) continue;
    query.errors[i] = 0;
    query.results[i] = new kelp2_result{0, query.modes[i], {}, {}};
  }
}

void stop_at_unknown(Query &query) {
  int32_t failed = 0;
  for (size_t i = 0; i < query.errors.size(); ++i) {
    if (failed == 0) failed = query.errors[i];
    if (failed == 0) continue;
    delete query.results[i];
    query.results[i] = nullptr;
    query.errors[i] = failed;
  }
}

void swap_last_two(Query &query) {
  const size_t size = query.results.size();
  if (by_name(query) && size > 2) std::swap(query.results[size - 1], query.results[size - 2]);
}

void results_beyond_50_empty(Query &query) {
  for (size_t i = 50; i < query.results.size(); ++i) {
    if (query.results[i]) *query.results[i] = {query.ids[i], query.modes[i], {}, {}};
  }
}

template <class Predicate>
void erase_rows(std::vector<Row> &rows, Predicate matches) {
  std::erase_if(rows, matches);
}

bool on_leap_day(const Row &row) {
  const Date date = date_of(row.time);
  return date.month == 2 && date.day == 29;
}

void skip_midnight_when_crossed(const Query &query, size_t, std::vector<Row> &rows) {
  erase_rows(rows, [&](const Row &row) { return row.time % kDay == 0 && row.time > query.begin; });
}

void repeat_status(const Query &, size_t, std::vector<Row> &rows) {
  for (size_t i = 100; i < rows.size(); ++i) rows[i].status = rows[99].status;
}

// What a range of a point held when it was first asked for.
void remember_ranges(const Query &query, size_t entry, std::vector<Row> &rows) {
  using Range = std::pair<int32_t, std::pair<int32_t, int32_t>>;
  static std::map<Range, std::vector<Row>> known;
  if (rows.empty()) return;
  const Range range{query.ids[entry], {query.begin, query.end}};
  rows = known.insert({range, rows}).first->second;
}

bool has_name_of(const Query &query, size_t entry, size_t size) {
  if (!by_name(query)) return false;
  const std::string &name = query.names[entry];
  return name.size() - (name.rfind('.') + 1) == size;
}

int32_t rows_of_result(const kelp2_result &result) { return static_cast<int32_t>(result.size()); }

const Server kFaultyHistory[] = {
    {.name = "range_of_a_day_loses_last",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (length(q) == kDay) drop_last(rows);
         }},
    {.name = "range_of_10000_loses_first",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (length(q) == 10000) drop_first(rows);
         }},
    {.name = "range_of_one_second_is_empty",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (length(q) == 1) rows.clear();
         }},
    {.name = "range_of_years_loses_last",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (length(q) > 2LL * 366 * kDay) drop_last(rows);
         }},
    {.name = "reversed_range_is_turned", .query = turn_reversed},
    {.name = "empty_range_is_everything", .query = widen_empty},
    {.name = "range_from_first_second_is_empty",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (q.begin == kFirst) rows.clear();
         }},
    {.name = "range_to_last_second_is_empty",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (q.end == kLast) rows.clear();
         }},
    {.name = "range_from_0_is_from_1",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (q.begin <= 0) erase_rows(rows, [](const Row &row) { return row.time == 0; });
         }},
    {.name = "row_at_begin_missing",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           erase_rows(rows, [&](const Row &row) { return row.time == q.begin; });
         }},
    {.name = "row_before_begin_added", .rows = add_earlier},
    {.name = "two_seconds_past_end", .rows = two_seconds_more},
    {.name = "negative_times_come_last", .rows = negative_times_last},
    {.name = "long_history_reversed", .rows = reverse_long},
    {.name = "named_twice_is_empty", .rows = empty_when_named_twice},
    {.name = "history_cut_at_1024",
     .rows = [](const Query &, size_t, std::vector<Row> &rows) { cut(rows, 1024); }},
    {.name = "history_cut_at_65536",
     .rows = [](const Query &, size_t, std::vector<Row> &rows) { cut(rows, 65536); }},
    {.name = "row_repeated_at_1024", .rows = repeat_at_1024},
    {.name = "first_mode_for_all", .query = first_mode_for_all},
    {.name = "unknown_queries_swallowed", .queried = swallow_unknown},
    {.name = "queries_stop_at_unknown", .queried = stop_at_unknown},
    {.name = "last_two_named_swapped", .queried = swap_last_two},
    {.name = "queries_beyond_50_empty", .queried = results_beyond_50_empty},
    {.name = "leap_days_not_read",
     .rows = [](const Query &, size_t, std::vector<Row> &rows) { erase_rows(rows, on_leap_day); }},
    {.name = "midnight_skipped_when_crossed", .rows = skip_midnight_when_crossed},
    {.name = "status_stuck_after_100", .rows = repeat_status},
    {.name = "negative_status_read_as_0",
     .rows =
         [](const Query &, size_t, std::vector<Row> &rows) {
           for (Row &row : rows) row.status = std::max<int16_t>(row.status, 0);
         }},
    {.name = "history_is_float_by_name",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (!by_name(q)) return;
           for (Row &row : rows) row.value = static_cast<float>(row.value);
         }},
    {.name = "ranges_remembered", .rows = remember_ranges},
    {.name = "names_of_20_have_no_history",
     .rows =
         [](const Query &q, size_t i, std::vector<Row> &rows) {
           if (has_name_of(q, i, 20)) rows.clear();
         }},
    {.name = "one_row_counted_too_many",
     .num_rows =
         [](const kelp2_result &r) { return rows_of_result(r) + (r.rows.empty() ? 0 : 1); }},
    {.name = "count_stops_at_360",
     .num_rows = [](const kelp2_result &r) { return std::min(rows_of_result(r), 360); }},
    {.name = "one_row_counted_as_none",
     .num_rows = [](const kelp2_result &r) { return r.size() == 1 ? 0 : rows_of_result(r); }},
    {.name = "fetch_fails_at_last_row",
     .fetched =
         [](const kelp2_result &r, int32_t code) {
           const bool last = r.next == r.rows.size() && r.rows.size() > 1;
           return r.mode == HistoryTimed && last ? -16 : code;
         }},
    {.name = "second_session_misses_last_row",
     .rows =
         [](const Query &q, size_t, std::vector<Row> &rows) {
           if (session_number(q.connection) > 1) drop_last(rows);
         }},
    {.name = "empty_queries_fail",
     .query =
         [](Query &query) {
           if (query.ids.empty()) query.result = -1;
         }},
};

}  // namespace

std::span<const Server> faulty_history() { return kFaultyHistory; }

}  // namespace planted
