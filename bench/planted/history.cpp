// History queries and their results. All rows of a result are fetched when it is made, so that the
// hooks see them together.
#include "handles.h"
#include "real.h"

using namespace planted;

namespace planted {

namespace {

std::vector<Row> fetch_rows(ResultHandle result) {
  std::vector<Row> rows;
  const int32_t count = real().num_rows(result);
  for (int32_t i = 0; i < count; ++i) {
    Row row;
    if (real().fetch_timed_value(result, &row.time, &row.status, &row.value) != 0) break;
    rows.push_back(row);
  }
  return rows;
}

std::vector<StatValue> fetch_statistics(ResultHandle result) {
  std::vector<StatValue> rows;
  for (int32_t code = 0; code == 0;) {
    StatValue row;
    code = real().fetch_stat_value(result, &row);
    if (code == 0 || code == 1) rows.push_back(row);
  }
  return rows;
}

}  // namespace

std::vector<Row> stored_rows(ConnectionHandle connection, int32_t id, int32_t begin, int32_t end) {
  const int32_t mode = HistoryTimed;
  ResultHandle result = nullptr;
  int32_t error = 0;
  const int32_t code =
      real().get_history_byid(connection, 1, &id, &mode, begin, end, 0, &result, &error);
  if (code != 0 || error != 0) return {};
  std::vector<Row> rows = fetch_rows(result);
  real().free_result(result);
  return rows;
}

}  // namespace planted

namespace {

constexpr int32_t kNoFurtherRow = -16;

ResultHandle take_rows(const Query &query, size_t entry, ResultHandle real_result) {
  auto *result = new kelp2_result{query.ids[entry], query.modes[entry], {}, {}};
  if (query.modes[entry] == HistoryStatistics) {
    result->statistics = fetch_statistics(real_result);
    if (server().statistics) server().statistics(query, entry, result->statistics);
  } else {
    result->rows = fetch_rows(real_result);
    if (server().rows) server().rows(query, entry, result->rows);
  }
  real().free_result(real_result);
  return result;
}

void ask(Query &query) {
  std::vector<ResultHandle> results(query.ids.size());
  query.result =
      real().get_history_byid(query.connection, static_cast<int32_t>(query.ids.size()),
                              query.ids.data(), query.modes.data(), query.begin, query.end,
                              query.interval, results.data(), query.errors.data());
  if (query.result != 0) return;
  for (size_t i = 0; i < results.size(); ++i) {
    if (query.errors[i] == 0) query.results[i] = take_rows(query, i, results[i]);
  }
}

int32_t carry_out(Query &query, ResultHandle *results, int32_t *errors) {
  settle(query.connection);
  query.results.resize(query.ids.size());
  query.errors.resize(query.ids.size());
  if (server().query) server().query(query);
  if (query.result == 0) ask(query);
  if (server().queried) server().queried(query);
  std::copy(query.results.begin(), query.results.end(), results);
  std::copy(query.errors.begin(), query.errors.end(), errors);
  return query.result;
}

int32_t fetched(ResultHandle result, int32_t code) {
  return server().fetched ? server().fetched(*result, code) : code;
}

}  // namespace

int32_t kelp2_get_history_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *results, int32_t *errors) {
  const bool arrays = count == 0 || (ids && modes && results && errors);
  if (!connection || count < 0 || !arrays) return kInvalidArgument;
  Query query{connection, {}, {ids, ids + count}, {modes, modes + count}, begin, end, interval,
              {},         {}};
  return carry_out(query, results, errors);
}

int32_t kelp2_get_history_byname(ConnectionHandle connection, GroupHandle group,
                                 const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                                 ResultHandle *results, int32_t *errors) {
  if (!connection || !group) return kInvalidArgument;
  const std::vector<std::string> names = stored_names(group);
  if (!names.empty() && !(modes && results && errors)) return kInvalidArgument;
  Query query{connection,
              names,
              ids_of(connection, names),
              {modes, modes + names.size()},
              begin,
              end,
              interval,
              {},
              {}};
  return carry_out(query, results, errors);
}

int32_t kelp2_num_rows(ResultHandle result) {
  if (result == nullptr) return 0;
  if (server().num_rows) return server().num_rows(*result);
  return static_cast<int32_t>(result->size());
}

int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status,
                                double *value) {
  if (!result || !time || !status || !value) return kInvalidArgument;
  if (result->next >= result->rows.size()) return kNoFurtherRow;
  const Row &row = result->rows[result->next++];
  *time = row.time;
  *status = row.status;
  *value = row.value;
  return fetched(result, 0);
}

int32_t kelp2_fetch_stat_value(ResultHandle result, StatValue *row) {
  if (!result || !row) return kInvalidArgument;
  if (result->next >= result->statistics.size()) return kNoFurtherRow;
  *row = result->statistics[result->next++];
  return fetched(result, result->next == result->statistics.size() ? 1 : 0);
}

int32_t kelp2_free_result(ResultHandle result) {
  delete result;
  return 0;
}
