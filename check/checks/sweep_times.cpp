// Every operation that takes a time, with every edge of the scale: ends, zero, powers of two, ends
// of days, months and years, leap days; and ranges between all of them.
#include <algorithm>
#include <chrono>
#include <set>

#include "checks/families.h"
#include "checks/ground.h"
#include "probe/series.h"

namespace kelpcheck {

namespace {

using Rows = std::vector<Sample>;

int64_t day_of(int y, unsigned m, unsigned d) {
  using namespace std::chrono;
  return sys_days(year(y) / month(m) / day(d)).time_since_epoch().count() * int64_t{86400};
}

std::vector<int32_t> edges() {
  std::set<int64_t> times{INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX, -1, 0, 1};
  for (const int64_t second : {59, 60, 3599, 3600, 86399, 86400, 86401, 604800}) {
    times.insert({second, -second});
  }
  for (int bit = 4; bit < 31; bit += 2) times.insert({(1LL << bit) - 1, 1LL << bit, -(1LL << bit)});
  const std::pair<int, std::pair<unsigned, unsigned>> days[] = {
      {1904, {2, 29}},  {1968, {2, 29}}, {1971, {1, 1}},   {1972, {2, 29}}, {1980, {1, 6}},
      {1999, {12, 31}}, {2000, {1, 1}},  {2000, {2, 29}},  {2000, {3, 1}},  {2012, {2, 29}},
      {2012, {7, 1}},   {2013, {1, 1}},  {2016, {12, 31}}, {2024, {2, 29}}, {2030, {1, 1}},
      {2031, {7, 15}},  {2036, {2, 7}},  {2038, {1, 1}}};
  for (const auto &[y, date] : days) {
    const int64_t midnight = day_of(y, date.first, date.second);
    times.insert({midnight - 1, midnight, midnight + 86399});
  }
  return {times.begin(), times.end()};
}

Rows rows_at(const std::vector<int32_t> &times, size_t point, int32_t salt) {
  Rows rows;
  const Series series(R8, static_cast<uint32_t>(point), static_cast<uint32_t>(salt));
  for (size_t i = 0; i < times.size(); ++i) {
    const auto row = static_cast<int64_t>(i);
    rows.push_back({times[i], series.status(row), series.value(row)});
  }
  return rows;
}

Question question_of(Bed &bed, int32_t time) {
  if (time == INT32_MIN) return Question::time_lowest;
  if (time == INT32_MAX) return Question::time_highest;
  if (time == 0) return Question::time_zero;
  if (time < 0) return Question::times_before_1970;
  return time > bed.session->time() ? Question::times_future : Question::times_past;
}

// What was refused of each class of times: nothing, everything, or some of it.
void tell_taken(Bed &bed, const std::vector<int32_t> &taken, const std::vector<int32_t> &refused) {
  for (const Question question :
       {Question::times_before_1970, Question::time_zero, Question::times_past,
        Question::times_future, Question::time_lowest, Question::time_highest}) {
    const auto of_class = [&](int32_t time) { return question_of(bed, time) == question; };
    const auto yes = std::count_if(taken.begin(), taken.end(), of_class);
    const auto no = std::count_if(refused.begin(), refused.end(), of_class);
    if (yes + no == 0) continue;
    bed.c.read(question, taken_of(yes, no), "writing at such times",
               text(yes, " taken, ", no, " refused"));
  }
}

// All in one call; where that is refused, each alone.
void write_edges(Ground &ground, size_t point, bool by_name) {
  const Rows rows = rows_at(edges(), point, by_name);
  std::vector<int32_t> taken, refused;
  if (ground.history(point, rows, by_name).empty()) {
    taken = edges();
  } else {
    for (const Sample &row : rows) {
      (ground.history(point, {row}, by_name).empty() ? taken : refused).push_back(row.time);
    }
  }
  tell_taken(ground.bed, taken, refused);
}

void expect_each(Ground &ground, size_t point, bool by_name) {
  for (const int32_t time : edges()) {
    if (time == INT32_MAX) continue;  // no range holds it where ends are outside
    ground.expect_history({point}, by_name, time, time + 1);
  }
}

void history_at_edges(Bed &bed) {
  Ground ground(bed);
  for (const bool by_name : {false, true}) {
    const size_t point = by_name ? 1 : 0;
    write_edges(ground, 5 * point, by_name);
    ground.expect_history({5 * point}, !by_name, INT32_MIN, INT32_MAX);
    expect_each(ground, 5 * point, by_name);
  }
}

void current_at_edges(Bed &bed) {
  Ground ground(bed);
  const size_t point = 10;
  bool by_name = false;
  int looks = 0;
  for (const Sample &row : rows_at(edges(), point, 3)) {
    ground.current({point}, row.time, {row});
    // A server that takes its time is asked for a part of them.
    constexpr double slow = 0.2;
    if (bed.c.habits.longest_wait < slow || ++looks % 10 == 0) {
      ground.expect_current({point}, by_name);
    }
    by_name = !by_name;
  }
  ground.expect_history({point}, false, INT32_MIN, INT32_MAX);
}

void snapshots(Bed &bed) {
  Ground ground(bed);
  const size_t point = 15;
  Rows taken;
  for (const Sample &row : rows_at(edges(), point, 4)) {
    if (ground.snapshot({point}, row.time, {row}).empty()) taken.push_back(row);
  }
  for (const bool by_name : {false, true}) {
    for (const Sample &row : taken) {
      settle_equal(bed, [&](Evidence &e) {
        const Readings have = bed.session->snap(bed.who(by_name, {point}), row.time);
        const auto where = [&] { return text("snapshot at ", clock_text(row.time)); };
        const bool last_second = row.time == INT32_MIN || row.time == INT32_MAX;
        if (last_second && have.errors[0] != 0) return;  // refused openly
        e.equal(0, have.errors[0], where);
        e.equal(row.status, have.statuses[0], where);
        e.equal(row.value, have.values[0], where);
      });
    }
  }
  ground.expect_history({point}, false, INT32_MIN, INT32_MAX);
}

void cache_at_edges(Bed &bed) {
  Ground ground(bed);
  const size_t many = 20, one = 25;
  const Rows rows = rows_at(edges(), many, 5), others = rows_at(edges(), one, 6);
  if (!ground.cache(std::vector<size_t>(rows.size(), many), rows).empty()) {
    for (const Sample &row : rows) ground.cache({many}, {row});
  }
  if (!ground.cache_one(one, others).empty()) {
    for (const Sample &row : others) ground.cache_one(one, {row});
  }
  ground.expect_history({many, one}, false, INT32_MIN, INT32_MAX);
  ground.expect_history({one, many}, true, INT32_MIN, INT32_MAX);
}

// Begins and ends: some of the edges, and around each.
std::vector<int32_t> bounds(Bed &bed) {
  std::set<int32_t> all{INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX, -1, 0, 1};
  const std::vector<int32_t> times = edges();
  for (size_t i = 0; i < times.size(); i += 4) {
    all.insert(times[i]);
    if (i % 8 == 0 && times[i] < INT32_MAX) all.insert(times[i] + 1);
  }
  const int32_t begin = bed.c.begin;
  all.insert({begin, begin + 100, begin + 10'000, begin + 86'400, begin + 31'536'000});
  return {all.begin(), all.end()};
}

// Every pair, reversed and empty ones too, over points with rows at all edges and at a few times
// close to each other.
void ranges_between_edges(Bed &bed) {
  Ground ground(bed);
  const size_t point = 30, other = 35;
  const int32_t begin = bed.c.begin;
  for (const size_t each : {point, other}) {
    std::vector<int32_t> times = edges();
    if (each == other) times = {begin - 1, begin, begin + 99, begin + 100, begin + 86'399};
    const Rows rows = rows_at(times, each, 7);
    if (ground.history(each, rows).empty()) continue;
    for (const Sample &row : rows) ground.history(each, {row});
  }
  const std::vector<int32_t> all = bounds(bed);
  bool by_name = false;
  ground.tolerate_refusals_beyond(begin, begin + 86'400);
  for (size_t i = 0; i < all.size(); ++i) {
    for (const int32_t to : all) {
      ground.expect_history({point, other}, by_name, all[i], to);
      by_name = !by_name;
    }
    by_name = i % 2 == 0;
    bed.c.progress(static_cast<int64_t>(i) + 1, static_cast<int64_t>(all.size()));
  }
}

}  // namespace

Family sweep_times_family() {
  return {"sweep",
          Tree::few,
          {{"sweep.times.history",
            "History takes every time, or says that it does not; what it takes is found there, "
            "alone and among others.",
            history_at_edges},
           {"sweep.times.current", "So do current values.", current_at_edges},
           {"sweep.times.snapshot", "So do snapshots.", snapshots},
           {"sweep.times.cache", "So does the cache, if its rows become history.", cache_at_edges},
           {"sweep.ranges",
            "Every range gives the rows in it and no others, from any begin to any end; an empty "
            "or reversed one gives none.",
            ranges_between_edges, 4}}};
}

}  // namespace kelpcheck
