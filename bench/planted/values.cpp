// The operations that write values and read current ones and snapshots.
#include <algorithm>

#include "handles.h"
#include "real.h"
#include "server.h"

using namespace planted;

namespace {

struct Columns {
  std::vector<int32_t> ids;
  std::vector<int32_t> times;
  std::vector<int16_t> statuses;
  std::vector<double> values;
  std::vector<int32_t> errors;
};

Columns kept_columns(const Write &write) {
  Columns columns;
  for (const Sample &sample : write.samples) {
    if (sample.lost) continue;
    columns.ids.push_back(sample.id);
    columns.times.push_back(sample.time);
    columns.statuses.push_back(sample.status);
    columns.values.push_back(sample.value);
  }
  columns.errors.resize(columns.ids.size());
  return columns;
}

int32_t send_many(const Write &write, Columns &rows) {
  const auto count = static_cast<int32_t>(rows.ids.size());
  const int32_t time = rows.times[0];
  const int16_t *statuses = rows.statuses.data();
  const double *values = rows.values.data();
  if (write.by == Writer::kCache) {
    return real().write_cache(write.connection, 0, count, rows.ids.data(), rows.times.data(),
                              statuses, values, rows.errors.data());
  }
  const auto operation = write.by == Writer::kSnap ? real().write_snap : real().write_value;
  return operation(write.connection, 0, count, rows.ids.data(), time, statuses, values,
                   rows.errors.data());
}

int32_t send_one(const Write &write, Columns &rows) {
  const auto operation =
      write.by == Writer::kCacheOne ? real().write_cache_one : real().write_histroy_byid;
  int32_t error = 0;
  const int32_t result =
      operation(write.connection, 0, rows.ids[0], static_cast<int32_t>(rows.ids.size()),
                rows.times.data(), rows.statuses.data(), rows.values.data(), &error);
  std::fill(rows.errors.begin(), rows.errors.end(), error);
  return result;
}

bool has_one_entry(Writer by) {
  return by == Writer::kHistoryById || by == Writer::kHistoryByName || by == Writer::kCacheOne;
}

void send(Write &write) {
  Columns rows = kept_columns(write);
  if (rows.ids.empty()) return;
  write.result = has_one_entry(write.by) ? send_one(write, rows) : send_many(write, rows);
  size_t next = 0;
  for (Sample &sample : write.samples) {
    if (!sample.lost) sample.error = rows.errors[next++];
  }
}

void hand_out_entries(const Write &write, int32_t *errors) {
  if (!has_one_entry(write.by)) {
    for (const Sample &sample : write.samples) *errors++ = sample.error;
    return;
  }
  *errors = 0;
  for (const Sample &sample : write.samples) {
    if (*errors == 0) *errors = sample.error;
  }
}

int32_t carry_out(Write &write, int32_t *errors) {
  settle(write.connection);
  if (server().write) server().write(write);
  if (write.result == 0) send(write);
  if (server().written) server().written(write);
  hand_out_entries(write, errors);
  return write.result;
}

int32_t write_points(Writer by, ConnectionHandle connection, int32_t count, const int32_t *ids,
                     int32_t time, const int32_t *times, const int16_t *statuses,
                     const double *values, int32_t *errors) {
  Write write{by, connection, {}, {}};
  for (int32_t i = 0; i < count; ++i) {
    write.samples.push_back({ids[i], times ? times[i] : time, statuses[i], values[i]});
  }
  return carry_out(write, errors);
}

int32_t write_point(Writer by, ConnectionHandle connection, const std::string &name, int32_t id,
                    int32_t count, const int32_t *times, const int16_t *statuses,
                    const double *values, int32_t *error) {
  Write write{by, connection, name, {}};
  for (int32_t i = 0; i < count; ++i) {
    write.samples.push_back({id, times[i], statuses[i], values[i]});
  }
  return carry_out(write, error);
}

void ask(Read &read) {
  const size_t count = read.ids.size();
  Columns columns{read.ids, std::vector<int32_t>(count, read.time), std::vector<int16_t>(count),
                  std::vector<double>(count), std::vector<int32_t>(count)};
  const auto size = static_cast<int32_t>(count);
  read.result = read.snap ? real().get_snap_byid(read.connection, size, columns.ids.data(),
                                                 read.time, columns.statuses.data(),
                                                 columns.values.data(), columns.errors.data())
                          : real().get_value_byid(read.connection, size, columns.ids.data(),
                                                  columns.times.data(), columns.statuses.data(),
                                                  columns.values.data(), columns.errors.data());
  for (size_t i = 0; i < count; ++i) {
    read.samples.push_back({columns.ids[i], columns.times[i], columns.statuses[i],
                            columns.values[i], columns.errors[i]});
  }
}

int32_t carry_out(Read &read, int32_t *times, int16_t *statuses, double *values, int32_t *errors) {
  settle(read.connection);
  if (server().read) server().read(read);
  if (read.result == 0) ask(read);
  if (server().was_read) server().was_read(read);
  if (read.result != 0) return read.result;
  for (size_t i = 0; i < read.samples.size(); ++i) {
    const Sample &sample = read.samples[i];
    errors[i] = sample.error;
    if (sample.error != 0) continue;
    if (times) times[i] = sample.time;
    statuses[i] = sample.status;
    values[i] = sample.value;
  }
  return 0;
}

template <class... Arrays>
bool usable(ConnectionHandle connection, int64_t count, const Arrays *...arrays) {
  return connection && count >= 0 && (count == 0 || (... && (arrays != nullptr)));
}

}  // namespace

int32_t kelp2_write_value(ConnectionHandle connection, int32_t /*reserved*/, int32_t count,
                          const int32_t *ids, int32_t time, const int16_t *statuses,
                          const double *values, int32_t *errors) {
  if (!usable(connection, count, ids, statuses, values, errors)) return kInvalidArgument;
  return write_points(Writer::kValue, connection, count, ids, time, nullptr, statuses, values,
                      errors);
}

int32_t kelp2_write_snap(ConnectionHandle connection, int32_t /*reserved*/, int32_t count,
                         const int32_t *ids, int32_t time, const int16_t *statuses,
                         const double *values, int32_t *errors) {
  if (!usable(connection, count, ids, statuses, values, errors)) return kInvalidArgument;
  return write_points(Writer::kSnap, connection, count, ids, time, nullptr, statuses, values,
                      errors);
}

int32_t kelp2_write_cache(ConnectionHandle connection, int32_t /*reserved*/, int32_t count,
                          const int32_t *ids, const int32_t *times, const int16_t *statuses,
                          const double *values, int32_t *errors) {
  if (!usable(connection, count, ids, times, statuses, values, errors)) return kInvalidArgument;
  return write_points(Writer::kCache, connection, count, ids, 0, times, statuses, values, errors);
}

int32_t kelp2_write_cache_one(ConnectionHandle connection, int32_t /*reserved*/, int32_t id,
                              int32_t count, const int32_t *times, const int16_t *statuses,
                              const double *values, int32_t *error) {
  if (!usable(connection, count, times, statuses, values) || !error) return kInvalidArgument;
  return write_point(Writer::kCacheOne, connection, "", id, count, times, statuses, values, error);
}

int32_t kelp2_write_histroy_byid(ConnectionHandle connection, int32_t /*reserved*/, int32_t id,
                                 int32_t count, const int32_t *times, const int16_t *statuses,
                                 const double *values, int32_t *error) {
  if (!usable(connection, count, times, statuses, values) || !error) return kInvalidArgument;
  return write_point(Writer::kHistoryById, connection, "", id, count, times, statuses, values,
                     error);
}

int32_t kelp2_write_histroy_byname(ConnectionHandle connection, int32_t /*reserved*/,
                                   const char *full_name, int32_t count, const int32_t *times,
                                   const int16_t *statuses, const double *values, int32_t *error) {
  if (!usable(connection, count, times, statuses, values) || !error) return kInvalidArgument;
  if (!full_name) return kInvalidArgument;
  const std::string name = stored_name(full_name);
  const int32_t id = ids_of(connection, {&name, 1})[0];
  return write_point(Writer::kHistoryByName, connection, name, id, count, times, statuses, values,
                     error);
}

int32_t kelp2_get_value_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                             int32_t *times, int16_t *statuses, double *values, int32_t *errors) {
  if (!usable(connection, count, ids, times, statuses, values, errors)) return kInvalidArgument;
  Read read{connection, false, 0, {}, {ids, ids + count}, {}};
  return carry_out(read, times, statuses, values, errors);
}

int32_t kelp2_get_value_byname(ConnectionHandle connection, GroupHandle group, int32_t *times,
                               int16_t *statuses, double *values, int32_t *errors) {
  if (!group) return kInvalidArgument;
  const std::vector<std::string> names = stored_names(group);
  if (!usable(connection, std::ssize(names), times, statuses, values, errors)) {
    return kInvalidArgument;
  }
  Read read{connection, false, 0, names, ids_of(connection, names), {}};
  return carry_out(read, times, statuses, values, errors);
}

int32_t kelp2_get_snap_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                            int32_t time, int16_t *statuses, double *values, int32_t *errors) {
  if (!usable(connection, count, ids, statuses, values, errors)) return kInvalidArgument;
  Read read{connection, true, time, {}, {ids, ids + count}, {}};
  return carry_out(read, nullptr, statuses, values, errors);
}

int32_t kelp2_get_snap_byname(ConnectionHandle connection, GroupHandle group, int32_t time,
                              int16_t *statuses, double *values, int32_t *errors) {
  if (!group) return kInvalidArgument;
  const std::vector<std::string> names = stored_names(group);
  if (!usable(connection, std::ssize(names), statuses, values, errors)) return kInvalidArgument;
  Read read{connection, true, time, names, ids_of(connection, names), {}};
  return carry_out(read, nullptr, statuses, values, errors);
}
