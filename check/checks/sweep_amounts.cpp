// How much a call may carry, around the sizes at which programs often change what they do; and
// statistics at the boundaries of intervals, of large numbers, and over ranges of all lengths.
#include <algorithm>
#include <cmath>

#include "checks/expect.h"
#include "checks/ground.h"
#include "checks/statistics_rows.h"

namespace kelpcheck {

namespace {

// Points of the bed that hold doubles, by their use.
constexpr size_t kRowsById = 0, kRowsByName = 5, kMagnitudes = 10, kBoundaries = 55, kEras = 0;

constexpr double kSlow = 0.5;  // seconds, after which larger sizes are left out

Sample row_of(size_t point, int32_t begin, int64_t row) {
  const Series series(R8, static_cast<uint32_t>(point), 40);
  return {begin + static_cast<int32_t>(row), series.status(row), series.value(row)};
}

// A refused query is asked again in halves.
Seen compare_block(Bed &bed, Evidence &e, size_t point, int32_t begin, int64_t first,
                   int64_t last) {
  const auto from = static_cast<int32_t>(begin + first), to = static_cast<int32_t>(begin + last);
  const int32_t end = bed.c.habits.is(Question::range_end, Answer::inside) ? to - 1 : to;
  try {
    const History history = bed.session->history(Ids{bed.ids[point]}, from, end);
    const int64_t rows = std::max(0, history.rows(0));
    e.equal(last - first, rows, [&] { return "rows of " + bed.names[point]; });
    for (int64_t row = first; row < std::min(last, first + rows); ++row) {
      expect_sample(e, row_of(point, begin, row), history.next(0),
                    [&] { return text("row ", row + 1, " of ", bed.names[point]); });
    }
  } catch (const CallFailed &) {
    if (last - first < 256) throw;
    const int64_t middle = (first + last) / 2;
    const Seen seen = compare_block(bed, e, point, begin, first, middle);
    return std::max(seen, compare_block(bed, e, point, begin, middle, last));
  }
  return e.differences == 0 ? Seen::expected : Seen::earlier;
}

void rows(Bed &bed) {
  const int64_t sizes[] = {0,   1,   2,    3,    127,  128,    129,    255,
                           256, 257, 1023, 1024, 1025, 65'535, 65'536, 65'537};
  double slowest = 0;
  int32_t begin = bed.c.begin;
  bool by_name = false;
  for (const int64_t size : sizes) {
    if (slowest > kSlow) {
      bed.c.finding("Sizes left out, as a smaller one took long", text("from ", size, " rows on"));
      break;
    }
    const int64_t start = now_ns();
    const size_t point = by_name ? kRowsByName : kRowsById;
    Columns block;
    for (int64_t row = 0; row < size; ++row) block.add(row_of(point, begin, row));
    const Out<int32_t> error = point % 2 == 0 ? bed.session->write_history(bed.ids[point], block)
                                              : bed.session->write_history(bed.names[point], block);
    bed.c.evidence.that(
        size == 0 || error[0] == 0, [&] { return text("entry of ", size, " rows"); }, "0",
        show(error[0]));
    if (size > 0) {
      settle(bed, [&](Evidence &e) { return compare_block(bed, e, point, begin, 0, size); });
    }
    slowest = std::max(slowest, seconds_since(start));
    by_name = !by_name;
    begin += static_cast<int32_t>(size) + 1000;
  }
}

// Once, more points than a node usually has: listed, looked up, written to and read in one call.
void points(Bed &bed) {
  constexpr size_t count = 1100;
  const std::string node = bed.full(bed.nodes[0]);
  Names own, full;
  Objects made(bed.c, 0);
  for (size_t i = 0; i < count; ++i) {
    own.push_back(text("MANY", i));
    full.push_back(node + "." + own.back());
    made.add(bed.session->new_object(own.back(), kKinds[i % std::size(kKinds)]));
  }
  const Modified done = bed.session->modify(Insert, node, made);
  bed.c.evidence.equal(static_cast<int32_t>(count), done.count, [] { return "points inserted"; });
  Names listed = own;
  for (const std::string &name : bed.names) listed.push_back(own_name(name));
  std::sort(listed.begin(), listed.end());
  settle_equal(bed, [&](Evidence &e) {
    Names children;
    const Objects list = bed.session->children(node);
    for (size_t i = 0; i < list.size(); ++i) children.push_back(get_text(list[i], "PN"));
    std::sort(children.begin(), children.end());
    e.that(
        children == listed, [&] { return "points under " + node; },
        text(listed.size(), " with their names"), text(children.size()));
  });
  const Ids ids = bed.session->ids(full);
  const int32_t now = bed.session->time() - 50;
  Columns rows;
  for (size_t i = 0; i < count; ++i) rows.add({now, static_cast<int16_t>(i), double(i % 2)});
  expect_done(bed, Op::write_value, bed.session->write_value(ids, now, rows));
  expect_done(bed, Op::write_snap, bed.session->write_snap(ids, now + 1, rows));
  for (const Who &who : {Who(ids), Who(full)}) {
    settle_equal(bed, [&](Evidence &e) {
      const Readings values = bed.session->values(who), snap = bed.session->snap(who, now + 1);
      for (size_t i = 0; i < count; ++i) {
        const auto where = [&] { return "value of " + full[i]; };
        e.equal(0, values.errors[i], where);
        e.equal(rows.statuses[i], values.statuses[i], where);
        e.equal(rows.values[i], values.values[i], where);
        e.equal(rows.statuses[i], snap.statuses[i], where);
      }
    });
  }
  Objects all = bed.session->objects(full);
  const Modified deleted = bed.session->modify(Delete, node, all);
  bed.c.evidence.equal(static_cast<int32_t>(count), deleted.count, [] { return "points deleted"; });
}

// Samples whose statistics mean something at every boundary: on it, just before and just behind.
std::vector<Sample> boundary_samples(int32_t begin) {
  std::vector<Sample> samples;
  double value = 3;
  for (const int32_t offset : {0, 1, 59, 60, 61, 119, 120, 299, 300, 301, 3599, 3600, 3601, 7199,
                               7200, 86'399, 86'400, 86'401, 172'799}) {
    value = -value * 1.25;
    const auto status = static_cast<int16_t>(offset % 97);
    samples.push_back({begin + offset, status, value});
  }
  return samples;
}

void expect_statistics(Bed &bed, size_t point, const std::vector<Sample> &samples,
                       const StatisticsQuery &query, bool by_name) {
  settle(bed, [&](Evidence &e) {
    const History history = bed.session->history(bed.who(by_name, {point}), {HistoryStatistics},
                                                 query.begin, query.end, query.step);
    return compare_statistics(bed, e, query, samples, statistics_of(history, 0));
  });
}

std::string write_block(Bed &bed, size_t point, const std::vector<Sample> &samples) {
  Columns block;
  for (const Sample &sample : samples) block.add(sample);
  const Out<int32_t> error = bed.session->write_history(bed.ids[point], block);
  bed.c.evidence.equal(0, error[0], [&] { return "entry of " + bed.names[point]; });
  return "";
}

void boundaries(Bed &bed) {
  if (!bed.c.habits.is(Question::range_end, Answer::outside)) {
    throw Moot("where the end of a range is inside it, a value on a boundary may belong to both");
  }
  const int32_t begin = bed.c.begin / 86'400 * 86'400;
  const size_t point = kBoundaries;
  const std::vector<Sample> samples = boundary_samples(begin);
  write_block(bed, point, samples);
  bool by_name = false;
  for (const int32_t step : {1, 60, 300, 3600, 7200, 86'400, 172'800, 1'000'000}) {
    for (const int32_t from : {0, 60, 3600, -86'400}) {
      for (const int32_t to : {86'400, 172'800, 7200, 259'200}) {
        const int64_t rows = (int64_t{to} - from) / step;
        if (rows > 20'000 || to <= from) continue;
        const StatisticsQuery query{begin + from, begin + to, step, bed.kind(point),
                                    bed.names[point]};
        expect_statistics(bed, point, samples, query, by_name);
        by_name = !by_name;
      }
    }
  }
}

// Large, small, equal, single and rising values, one interval over all.
void magnitudes(Bed &bed) {
  const int32_t begin = bed.c.begin + 7;
  const std::vector<std::vector<double>> series{
      {1e100, -1e100, 3e100},     {1e-100, 2e-100, 4e-100}, {5, 5, 5, 5}, {42},
      {1e15, 1e15 + 2, 1e15 + 8}, {-1, -2, -3, -3, -2},     {0, 0, 0},    {1e6, 1, 1e-6},
      {1, 2, 4, 8, 16, 32}};
  for (size_t i = 0; i < series.size(); ++i) {
    std::vector<Sample> samples;
    const size_t point = kMagnitudes + i * 5;
    for (size_t k = 0; k < series[i].size(); ++k) {
      const auto distance = static_cast<int32_t>(k * k * 11);
      const auto status = static_cast<int16_t>(1 << k);
      samples.push_back({begin + distance, status, series[i][k]});
    }
    write_block(bed, point, samples);
    for (const bool by_name : {false, true}) {
      for (const int32_t step : {40, 1000}) {
        const StatisticsQuery query{begin - 3, begin + 1997, step, bed.kind(point),
                                    bed.names[point]};
        expect_statistics(bed, point, samples, query, by_name);
      }
    }
  }
}

// Whatever the year; where a server refuses rows that old or new, it has no statistics of them.
void eras(Bed &bed) {
  const size_t point = kEras;
  // 1938, just before and over 1970, the leap day of 2000, the end of 2020, 2030.
  for (const int32_t begin :
       {-1'000'000'000, -3000, -500, 951'868'300, 1'609'458'700, 1'900'000'000}) {
    std::vector<Sample> samples;
    Columns block;
    for (int32_t k = 0; k < 12; ++k) {
      const double value = (k % 5 - 2) * 1.5 + k * 0.25;
      samples.push_back({begin + k * k * 7, static_cast<int16_t>(k * 11), value});
      block.add(samples.back());
    }
    bool taken = false;
    refusal_of([&] { taken = bed.session->write_history(bed.ids[point], block)[0] == 0; });
    if (!taken) continue;
    for (const int32_t step : {40, 300, 1000}) {
      const StatisticsQuery query{begin - 3, begin + 997, step, bed.kind(point), bed.names[point]};
      expect_statistics(bed, point, samples, query, step == 300);
    }
  }
}

// An interval of 0 or less, if that is not refused, is one over the whole range; and a range
// without values has no statistics.
void no_interval(Bed &bed) {
  const int32_t begin = bed.c.begin + 7;
  const size_t point = 1;
  const std::vector<Sample> samples{{begin, 1, 2.5}, {begin + 10, 2, -4.5}};
  write_block(bed, point, samples);
  for (const int32_t step : {0, -1, INT32_MIN}) {
    std::vector<StatValue> rows;
    bool refused = false;
    const std::string refusal = refusal_of([&] {
      const History history = bed.session->history(Ids{bed.ids[point]}, {HistoryStatistics},
                                                   begin - 3, begin + 17, step);
      refused = history.errors[0] != 0;
      rows = statistics_of(history, 0);
    });
    Answers answer;
    if (refused || !refusal.empty() || rows.empty()) answer = Answer::refused;
    if (rows.size() == 1 && rows[0].max == 2.5 && rows[0].min == -4.5) answer = Answer::whole;
    bed.c.read(Question::statistics_no_interval, answer, text("an interval of ", step),
               text(rows.size(), " rows"));
  }
}

}  // namespace

Family sweep_amounts_family() {
  return {"sweep",
          Tree::few,
          {{"sweep.rows", "A call takes any number of rows, or says that it does not.", rows, 4},
           {"sweep.points", "A thousand points in one node and one call are all there.", points, 2},
           {"sweep.statistics.magnitudes",
            "Statistics are right for large, small, equal and single values.", magnitudes},
           {"sweep.statistics.eras", "So they are before 1970, after 2030 and at leap days.", eras},
           {"sweep.statistics.no_interval", "An interval of 0 or less always gets the same answer.",
            no_interval},
           {"sweep.statistics.boundaries",
            "A value on a boundary belongs to the interval that begins there, for every length.",
            boundaries}}};
}

}  // namespace kelpcheck
