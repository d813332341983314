// Everything that writes and reads values: current values, history, cache and snapshots. All writes
// are rows of (id, time, status, value) and end in one function; they differ only in the columns
// that the caller gives as arrays, and in what the store does with them.
#include <algorithm>

#include "api/handles.h"

using namespace kelp;

namespace {

// Writes the rows and stores an entry for each, or a single one for all rows of one point.
int32_t write(ConnectionHandle connection, WriteKind kind, int32_t count, Column<int32_t> ids,
              Column<int32_t> times, const int16_t *statuses, const double *values,
              int32_t *errors) {
  require_arrays(count, statuses, values, errors);
  require_rows(count);
  Store &store = store_of(connection);
  const bool one_point = ids.constant();
  if (one_point && errors) *errors = kOk;
  if (count == 0) return kOk;
  const auto codes = store.write(kind, {static_cast<size_t>(count), ids, times, statuses, values});
  std::copy_n(codes.begin(), one_point ? 1 : codes.size(), errors);
  return kOk;
}

// The same for one point with a time per row.
int32_t write_point(ConnectionHandle connection, int32_t id, int32_t count, const int32_t *times,
                    const int16_t *statuses, const double *values, int32_t *error) {
  require_arrays(count, times);
  return write(connection, WriteKind::history, count, Column<int32_t>::all(id),
               Column<int32_t>::of(times), statuses, values, error);
}

// And for many points at one time.
int32_t write_points(ConnectionHandle connection, WriteKind kind, int32_t count, const int32_t *ids,
                     int32_t time, const int16_t *statuses, const double *values, int32_t *errors) {
  require_arrays(count, ids);
  return write(connection, kind, count, Column<int32_t>::of(ids), Column<int32_t>::all(time),
               statuses, values, errors);
}

// Stores what was read in the caller's arrays; a null `times` leaves the times out. A point that
// could not be read gets its entry and nothing else.
int32_t hand_out(const std::vector<Reading> &readings, int32_t *times, int16_t *statuses,
                 double *values, int32_t *errors) {
  for (size_t i = 0; i < readings.size(); ++i) {
    errors[i] = readings[i].error;
    if (readings[i].error != kOk) continue;
    if (times) times[i] = readings[i].sample.time;
    statuses[i] = readings[i].sample.status;
    values[i] = readings[i].sample.value;
  }
  return kOk;
}

}  // namespace

int32_t kelp2_write_value(ConnectionHandle connection, int32_t /*reserved*/, int32_t count,
                          const int32_t *ids, int32_t time, const int16_t *statuses,
                          const double *values, int32_t *errors) {
  return guarded([&] {
    return write_points(connection, WriteKind::realtime, count, ids, time, statuses, values,
                        errors);
  });
}

int32_t kelp2_get_value_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                             int32_t *times, int16_t *statuses, double *values, int32_t *errors) {
  return guarded([&] {
    require_arrays(count, ids, times, statuses, values, errors);
    const std::span points(ids, static_cast<size_t>(count));
    return hand_out(store_of(connection).current(points), times, statuses, values, errors);
  });
}

int32_t kelp2_get_value_byname(ConnectionHandle connection, GroupHandle group, int32_t *times,
                               int16_t *statuses, double *values, int32_t *errors) {
  return guarded([&] {
    const std::vector<std::string> &names = names_of(group);
    require_arrays(std::ssize(names), times, statuses, values, errors);
    Store &store = store_of(connection);
    return hand_out(store.current(store.point_ids(names)), times, statuses, values, errors);
  });
}

int32_t kelp2_write_histroy_byid(ConnectionHandle connection, int32_t /*reserved*/, int32_t id,
                                 int32_t count, const int32_t *times, const int16_t *statuses,
                                 const double *values, int32_t *error) {
  return guarded(
      [&] { return write_point(connection, id, count, times, statuses, values, error); });
}

int32_t kelp2_write_histroy_byname(ConnectionHandle connection, int32_t /*reserved*/,
                                   const char *full_name, int32_t count, const int32_t *times,
                                   const int16_t *statuses, const double *values, int32_t *error) {
  return guarded([&] {
    require(full_name != nullptr);
    const std::string name = full_name;
    const int32_t id = store_of(connection).point_ids({&name, 1})[0];
    return write_point(connection, id, count, times, statuses, values, error);
  });
}

int32_t kelp2_write_cache(ConnectionHandle connection, int32_t /*reserved*/, int32_t count,
                          const int32_t *ids, const int32_t *times, const int16_t *statuses,
                          const double *values, int32_t *errors) {
  return guarded([&] {
    require_arrays(count, ids, times);
    return write(connection, WriteKind::history, count, Column<int32_t>::of(ids),
                 Column<int32_t>::of(times), statuses, values, errors);
  });
}

int32_t kelp2_write_cache_one(ConnectionHandle connection, int32_t /*reserved*/, int32_t id,
                              int32_t count, const int32_t *times, const int16_t *statuses,
                              const double *values, int32_t *error) {
  return guarded(
      [&] { return write_point(connection, id, count, times, statuses, values, error); });
}

int32_t kelp2_write_snap(ConnectionHandle connection, int32_t /*reserved*/, int32_t count,
                         const int32_t *ids, int32_t time, const int16_t *statuses,
                         const double *values, int32_t *errors) {
  return guarded([&] {
    return write_points(connection, WriteKind::snapshot, count, ids, time, statuses, values,
                        errors);
  });
}

int32_t kelp2_get_snap_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                            int32_t time, int16_t *statuses, double *values, int32_t *errors) {
  return guarded([&] {
    require_arrays(count, ids, statuses, values, errors);
    const std::span points(ids, static_cast<size_t>(count));
    return hand_out(store_of(connection).as_of(points, time), nullptr, statuses, values, errors);
  });
}

int32_t kelp2_get_snap_byname(ConnectionHandle connection, GroupHandle group, int32_t time,
                              int16_t *statuses, double *values, int32_t *errors) {
  return guarded([&] {
    const std::vector<std::string> &names = names_of(group);
    require_arrays(std::ssize(names), statuses, values, errors);
    Store &store = store_of(connection);
    return hand_out(store.as_of(store.point_ids(names), time), nullptr, statuses, values, errors);
  });
}
