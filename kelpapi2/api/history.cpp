// History queries and their results.
#include <algorithm>
#include <limits>

#include "api/handles.h"

using namespace kelp;

namespace {

bool is_mode(int32_t mode) { return mode == HistoryTimed || mode == HistoryStatistics; }

// One result per point that exists and has a mode that is known. They are all made before the first
// one is handed out.
int32_t query(ConnectionHandle connection, std::span<const int32_t> ids, const int32_t *modes,
              const Intervals &intervals, ResultHandle *results, int32_t *errors) {
  std::fill_n(results, ids.size(), nullptr);
  std::vector<size_t> asked;
  std::vector<int32_t> asked_ids;
  std::vector<HistoryMode> asked_modes;
  for (size_t i = 0; i < ids.size(); ++i) {
    if (!is_mode(modes[i])) continue;
    asked.push_back(i);
    asked_ids.push_back(ids[i]);
    asked_modes.push_back(HistoryMode(modes[i]));
  }
  const std::shared_ptr<const HistoryRows> rows =
      store_of(connection).history({asked_ids, asked_modes, intervals});
  std::vector<std::unique_ptr<kelp2_result>> made;
  for (size_t point = 0; point < asked.size(); ++point) {
    made.push_back(rows->knows(point) ? std::make_unique<kelp2_result>(rows, point) : nullptr);
  }
  std::fill_n(errors, ids.size(), kInvalidArgument);
  for (size_t point = 0; point < asked.size(); ++point) {
    errors[asked[point]] = made[point] ? kOk : kUnknownName;
    results[asked[point]] = made[point].release();
  }
  return kOk;
}

// The next row of a result that is read in this mode.
template <typename Row>
Row next_row(kelp2_result &result, HistoryMode mode) {
  result.process.require_current();
  const HistoryRows &rows = *result.rows;
  const bool any = rows.mode(result.point) == mode && result.next < rows.count(result.point);
  if (!any) throw Failure(kEndOfRows);
  return rows.row<Row>(result.point, result.next++);
}

}  // namespace

int32_t kelp2_get_history_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *results, int32_t *errors) {
  return guarded([&] {
    require_arrays(count, ids, modes, results, errors);
    return query(connection, {ids, static_cast<size_t>(count)}, modes, {begin, end, interval},
                 results, errors);
  });
}

int32_t kelp2_get_history_byname(ConnectionHandle connection, GroupHandle group,
                                 const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                                 ResultHandle *results, int32_t *errors) {
  return guarded([&] {
    const std::vector<std::string> &names = names_of(group);
    require_arrays(std::ssize(names), modes, results, errors);
    std::fill_n(results, names.size(), nullptr);
    const std::vector<int32_t> ids = store_of(connection).point_ids(names);
    return query(connection, ids, modes, {begin, end, interval}, results, errors);
  });
}

int32_t kelp2_num_rows(ResultHandle result) {
  if (result == nullptr || !result->process.is_current()) return 0;
  constexpr int64_t most = std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(std::min(result->rows->count(result->point), most));
}

int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status,
                                double *value) {
  return guarded([&] {
    require(result && time && status && value);
    const auto sample = next_row<Sample>(*result, HistoryTimed);
    *time = sample.time;
    *status = sample.status;
    *value = sample.value;
    return kOk;
  });
}

int32_t kelp2_fetch_stat_value(ResultHandle result, StatValue *row) {
  return guarded([&]() -> int32_t {
    require(result && row);
    *row = next_row<StatValue>(*result, HistoryStatistics);
    return result->next == result->rows->count(result->point) ? 1 : 0;
  });
}

int32_t kelp2_free_result(ResultHandle result) {
  delete result;
  return kOk;
}
