// Statistics of each interval, compared with this program's own calculation. Servers define some of
// them differently: which definition a server uses is a habit, the same for all rows of all points.
#include "checks/expect.h"
#include "checks/statistics_rows.h"

namespace kelpcheck {

namespace {

std::vector<Sample> samples_of(const Window &window, size_t point) {
  std::vector<Sample> samples;
  for (int64_t row = 0; row < window.rows; ++row) samples.push_back(window.at(point, row));
  return samples;
}

Seen compare_point(Bed &bed, Evidence &e, const History &history, size_t result, size_t point,
                   const Window &window, int32_t step) {
  const StatisticsQuery query{window.begin, window.end, step, bed.kind(point), bed.names[point]};
  const std::vector<StatValue> rows = statistics_of(history, result);
  return compare_statistics(bed, e, query, samples_of(window, point), rows);
}

void statistics(Bed &bed, bool by_name) {
  const Window window(bed, by_name);
  const auto order = shuffled(bed.points());
  write_history(bed, false, window, order);
  for (const int32_t step : {50, 10, window.end - window.begin}) {
    const std::vector<int32_t> modes(order.size(), HistoryStatistics);
    settle(bed, [&](Evidence &e) {
      const History history =
          bed.session->history(bed.who(by_name, order), modes, window.begin, window.end, step);
      Seen seen = Seen::expected;
      for (size_t i = 0; i < order.size(); ++i) {
        seen = std::max(seen, compare_point(bed, e, history, i, order[i], window, step));
        bed.c.progress(static_cast<int64_t>(i) + 1, static_cast<int64_t>(order.size()));
      }
      return seen;
    });
  }
}

// Rows that no known definition explains leave the question unknown.
void need_definitions(Bed &bed) {
  if (bed.c.evidence.differences > 0) return;
  for (const Question question :
       {Question::statistics_time, Question::statistics_flow, Question::statistics_maxtime,
        Question::statistics_mintime, Question::statistics_avg, Question::statistics_stdev}) {
    bed.c.need(question);
  }
}

void byid(Bed &bed) {
  statistics(bed, false);
  need_definitions(bed);
}
void byname(Bed &bed) {
  statistics(bed, true);
  need_definitions(bed);
}

// Each point has its own mode: rows and statistics in turn in one query.
void mixed_modes(Bed &bed) {
  constexpr int32_t step = 50;
  const Window window(bed, 2, kFew);
  const auto some = some_of(bed.points());
  write_history(bed, false, window, some);
  std::vector<int32_t> modes(some.size(), HistoryTimed);
  for (size_t i = 0; i < some.size(); i += 2) modes[i] = HistoryStatistics;
  settle(bed, [&](Evidence &e) {
    const History history =
        bed.session->history(bed.who(false, some), modes, window.begin, window.end, step);
    Seen seen = Seen::expected;
    for (size_t i = 0; i < some.size(); ++i) {
      const Seen of_point =
          modes[i] == HistoryTimed
              ? compare_rows(bed, e, history, i, {window, some[i], 0, window.rows})
              : compare_point(bed, e, history, i, some[i], window, step);
      seen = std::max(seen, of_point);
    }
    return seen;
  });
}

}  // namespace

Family statistics_family() {
  return {"statistics",
          Tree::made,
          {{"statistics.byid",
            "Statistics by id are those of the written values, always by the same definitions.",
            byid, 8},
           {"statistics.byname", "The same by name.", byname, 8},
           {"statistics.mixed_modes", "Each point of a query has its own mode.", mixed_modes, 2}}};
}

}  // namespace kelpcheck
