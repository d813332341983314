// History queries and the results that they hand out.
#include <algorithm>

#include "api/handles.h"

using namespace kelp;

namespace {

bool is_mode(int32_t mode) { return mode == HistoryTimed || mode == HistoryStatistics; }

// One result per point that exists and has a mode that is known; all of them share one cursor.
int32_t query(ConnectionHandle connection, std::span<const int32_t> ids, const int32_t *modes,
              const Intervals &intervals, ResultHandle *results, int32_t *errors) {
  std::fill_n(results, ids.size(), nullptr);
  const std::vector<bool> known = store_of(connection).known_points(ids);
  std::vector<ResultCode> codes;
  std::vector<int32_t> queried;
  for (size_t i = 0; i < ids.size(); ++i) {
    codes.push_back(!known[i] ? kUnknownName : is_mode(modes[i]) ? kOk : kInvalidArgument);
    if (codes[i] == kOk) queried.push_back(ids[i]);
  }
  const auto cursor = std::make_shared<HistoryCursor>(connection->store, queried, intervals);
  uint32_t point = 0;
  for (size_t i = 0; i < ids.size(); ++i) {
    errors[i] = codes[i];
    if (codes[i] != kOk) continue;
    results[i] = new kelp2_result{HistoryResult(cursor, point++, HistoryMode(modes[i]))};
  }
  return kOk;
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
  if (result == nullptr) return 0;
  return guarded([&] { return result->rows.count(); });
}

int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status,
                                double *value) {
  return guarded([&] {
    require(result && time && status && value);
    if (result->rows.mode() != HistoryTimed) throw Failure(kEndOfRows);
    const Sample sample = result->rows.next_sample();
    *time = sample.time;
    *status = sample.status;
    *value = sample.value;
    return kOk;
  });
}

int32_t kelp2_fetch_stat_value(ResultHandle result, StatValue *row) {
  return guarded([&]() -> int32_t {
    require(result && row);
    if (result->rows.mode() != HistoryStatistics) throw Failure(kEndOfRows);
    *row = result->rows.next_statistics();
    return result->rows.at_end() ? 1 : 0;
  });
}

int32_t kelp2_free_result(ResultHandle result) {
  delete result;
  return kOk;
}
