// The operations of the library over a floor. A failure is an exception that nobody catches: it
// ends the program and says why.
#include "stand_in.h"

#include <kelpapi2.h>

#include <algorithm>
#include <cstdio>

#include "store/calendar.h"
#include "store/statistics.h"

using namespace bench;
using kelp::WriteKind;

struct kelp2_connection {
  std::unique_ptr<Floor> floor;
};
struct kelp2_group {
  std::vector<std::string> names;
};
struct kelp2_object {
  kelp::ObjectRecord record;
};

namespace {

constexpr size_t kPointsAtOnce = 64;  // whose rows are in memory

struct Query {
  Floor &floor;
  std::vector<int32_t> ids;
  kelp::Intervals intervals;
  size_t first = 0;                  // point of the window
  std::vector<Samples> window = {};  // points are asked for in order, each once

  Samples take(size_t point) {
    if (point >= first + window.size()) {
      const size_t count = std::min(kPointsAtOnce, ids.size() - point);
      window = floor.ranges(Ids(ids).subspan(point, count), intervals.begin, intervals.end);
      first = point;
    }
    return std::move(window[point - first]);
  }
};

}  // namespace

struct kelp2_result {
  std::shared_ptr<Query> query;
  size_t point;
  bool statistics;
  size_t next = 0;
  Samples samples = {};
  std::vector<StatValue> rows = {};
};

namespace {

std::vector<StatValue> fold(const Samples &samples, const kelp::Intervals &intervals) {
  std::vector<StatValue> rows;
  for (size_t i = 0; i < samples.size();) {
    const int64_t number = intervals.number_of(samples[i].time);
    kelp::StatFold fold(samples[i]);
    while (++i < samples.size() && intervals.number_of(samples[i].time) == number) {
      fold.add(samples[i]);
    }
    rows.push_back(fold.row(intervals.start_of(number), intervals.end_of(number)));
  }
  return rows;
}

int32_t query(ConnectionHandle connection, std::vector<int32_t> ids, const int32_t *modes,
              const kelp::Intervals &intervals, ResultHandle *results, int32_t *errors) {
  const auto query = std::make_shared<Query>(Query{*connection->floor, std::move(ids), intervals});
  for (size_t i = 0; i < query->ids.size(); ++i) {
    results[i] = new kelp2_result{query, i, modes[i] == HistoryStatistics};
    errors[i] = 0;
  }
  return 0;
}

// Columns of a call: an entry per row, or one value for all rows.
template <typename T>
kelp::Column<T> each(const T *entries) {
  return kelp::Column<T>::of(entries);
}
kelp::Column<int32_t> all(int32_t value) { return kelp::Column<int32_t>::all(value); }

int32_t write(ConnectionHandle connection, WriteKind kind, const kelp::SampleRows &rows,
              int32_t *errors) {
  connection->floor->write(kind, rows);
  std::fill_n(errors, rows.ids.constant() ? 1 : rows.count, 0);
  return 0;
}

int32_t hand_out(const Samples &samples, int32_t *times, int16_t *statuses, double *values,
                 int32_t *errors) {
  for (size_t i = 0; i < samples.size(); ++i) {
    if (times != nullptr) times[i] = samples[i].time;
    statuses[i] = samples[i].status;
    values[i] = samples[i].value;
    errors[i] = 0;
  }
  return 0;
}

int32_t hand_out(const Objects &records, ObjectHandle *objects, int32_t *errors) {
  for (size_t i = 0; i < records.size(); ++i) {
    objects[i] = new kelp2_object{records[i]};
    errors[i] = 0;
  }
  return 0;
}

Ids ids_of(int32_t count, const int32_t *ids) { return {ids, static_cast<size_t>(count)}; }

int32_t &number(ObjectHandle object, const char *field) {
  kelp::ObjectRecord &record = object->record;
  switch (field[0]) {
    case 'F': return record.fq;
    case 'A': return record.ar;
    default: return record.hw;
  }
}

}  // namespace

// Numbers that a run leaves at 0 have no name.

ConnectionHandle kelp2_init(int32_t, const char *host, int32_t port, int32_t init_param,
                            const char *user, const char *password, const char *buffer_route,
                            int32_t) {
  const kelp::StoreAddress address{host, port, user, password, init_param, false};
  return new kelp2_connection{open_floor(address, buffer_route)};
}

int32_t kelp2_status(ConnectionHandle) { return 0; }

int32_t kelp2_close(ConnectionHandle connection) {
  delete connection;
  return 0;
}

int32_t kelp2_get_system_time(ConnectionHandle connection, int32_t *time) {
  *time = connection->floor->now();
  return 0;
}

int32_t kelp2_encode_time(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute,
                          int32_t second) {
  return kelp::encode_time({year, month, day, hour, minute, second});
}

int32_t kelp2_decode_time(int32_t time, int32_t *year, int32_t *month, int32_t *day, int32_t *hour,
                          int32_t *minute, int32_t *second) {
  const kelp::CalendarTime fields = kelp::decode_time(time);
  *year = fields.year;
  *month = fields.month;
  *day = fields.day;
  *hour = fields.hour;
  *minute = fields.minute;
  *second = fields.second;
  return 0;
}

int32_t kelp2_get_database(ConnectionHandle connection, int32_t *count, ObjectHandle **list) {
  const Objects databases = connection->floor->databases();
  *list = new ObjectHandle[databases.size()];
  for (*count = 0; *count < std::ssize(databases); ++*count) {
    (*list)[*count] = new kelp2_object{databases[*count]};
  }
  return 0;
}

int32_t kelp2_free_list(int32_t count, ObjectHandle *list) {
  std::for_each_n(list, count, kelp2_free_object);
  delete[] list;
  return 0;
}

GroupHandle kelp2_new_group(void) { return new kelp2_group; }

int32_t kelp2_add_group_point(GroupHandle group, const char *full_name) {
  group->names.emplace_back(full_name);
  return 0;
}

int32_t kelp2_free_group(GroupHandle group) {
  delete group;
  return 0;
}

ObjectHandle kelp2_new_object(ConnectionHandle, const char *name, int32_t kind) {
  return new kelp2_object{{0, kind, name, {}}};
}

int32_t kelp2_object_set_string(ObjectHandle object, const char *, const char *value) {
  object->record.ed = value;
  return 0;
}

int32_t kelp2_object_set_int(ObjectHandle object, const char *field, int32_t value) {
  number(object, field) = value;
  return 0;
}

int32_t kelp2_object_set_double(ObjectHandle object, const char *, double value) {
  object->record.iv = value;
  return 0;
}

int32_t kelp2_object_get_string(ObjectHandle object, const char *field, char *buffer,
                                int32_t size) {
  const kelp::ObjectRecord &record = object->record;
  const std::string &text = field[0] == 'P' ? record.name : record.ed;
  std::snprintf(buffer, size, "%s", text.c_str());
  return 0;
}

int32_t kelp2_object_get_int(ObjectHandle object, const char *field) {
  return number(object, field);
}

double kelp2_object_get_double(ObjectHandle object, const char *) { return object->record.iv; }

int32_t kelp2_modify_object(ConnectionHandle connection, int32_t operation, const char *parent,
                            int32_t count, ObjectHandle *objects, int32_t *errors) {
  for (int32_t i = 0; i < count; ++i) {
    if (operation == Insert) connection->floor->insert(parent, objects[i]->record);
    if (operation == Update) connection->floor->update(parent, objects[i]->record);
    errors[i] = 0;
  }
  return count;
}

int32_t kelp2_get_object_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                              ObjectHandle *objects, int32_t *errors) {
  return hand_out(connection->floor->objects(ids_of(count, ids)), objects, errors);
}

int32_t kelp2_get_object_byname(ConnectionHandle connection, GroupHandle group,
                                ObjectHandle *objects, int32_t *errors) {
  return hand_out(connection->floor->objects(group->names), objects, errors);
}

// A run over an empty store deletes nothing, and so asks for no children.
int32_t kelp2_get_child(ConnectionHandle, const char *, int32_t *, ObjectHandle **) { return -1; }

int32_t kelp2_get_id_byname(ConnectionHandle connection, GroupHandle group, int32_t *ids) {
  std::ranges::copy(connection->floor->point_ids(group->names), ids);
  return 0;
}

int32_t kelp2_free_object(ObjectHandle object) {
  delete object;
  return 0;
}

int32_t kelp2_write_value(ConnectionHandle connection, int32_t, int32_t count, const int32_t *ids,
                          int32_t time, const int16_t *statuses, const double *values,
                          int32_t *errors) {
  const auto rows = static_cast<size_t>(count);
  return write(connection, WriteKind::realtime, {rows, each(ids), all(time), statuses, values},
               errors);
}

int32_t kelp2_get_value_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                             int32_t *times, int16_t *statuses, double *values, int32_t *errors) {
  const Samples samples = connection->floor->current(ids_of(count, ids));
  return hand_out(samples, times, statuses, values, errors);
}

int32_t kelp2_get_value_byname(ConnectionHandle connection, GroupHandle group, int32_t *times,
                               int16_t *statuses, double *values, int32_t *errors) {
  const std::vector<int32_t> ids = connection->floor->point_ids(group->names);
  return hand_out(connection->floor->current(ids), times, statuses, values, errors);
}

int32_t kelp2_write_histroy_byid(ConnectionHandle connection, int32_t, int32_t id, int32_t count,
                                 const int32_t *times, const int16_t *statuses,
                                 const double *values, int32_t *error) {
  const auto rows = static_cast<size_t>(count);
  return write(connection, WriteKind::history, {rows, all(id), each(times), statuses, values},
               error);
}

int32_t kelp2_write_histroy_byname(ConnectionHandle connection, int32_t zero, const char *full_name,
                                   int32_t count, const int32_t *times, const int16_t *statuses,
                                   const double *values, int32_t *error) {
  const std::string name = full_name;
  const int32_t id = connection->floor->point_ids({&name, 1})[0];
  return kelp2_write_histroy_byid(connection, zero, id, count, times, statuses, values, error);
}

int32_t kelp2_get_history_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *results, int32_t *errors) {
  return query(connection, {ids, ids + count}, modes, {begin, end, interval}, results, errors);
}

int32_t kelp2_get_history_byname(ConnectionHandle connection, GroupHandle group,
                                 const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                                 ResultHandle *results, int32_t *errors) {
  std::vector<int32_t> ids = connection->floor->point_ids(group->names);
  return query(connection, std::move(ids), modes, {begin, end, interval}, results, errors);
}

int32_t kelp2_num_rows(ResultHandle result) {
  result->samples = result->query->take(result->point);
  if (!result->statistics) return static_cast<int32_t>(result->samples.size());
  result->rows = fold(result->samples, result->query->intervals);
  return static_cast<int32_t>(result->rows.size());
}

int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status,
                                double *value) {
  const kelp::Sample &sample = result->samples[result->next++];
  *time = sample.time;
  *status = sample.status;
  *value = sample.value;
  return 0;
}

int32_t kelp2_fetch_stat_value(ResultHandle result, StatValue *row) {
  *row = result->rows[result->next++];
  return 0;
}

int32_t kelp2_free_result(ResultHandle result) {
  delete result;
  return 0;
}

int32_t kelp2_write_cache(ConnectionHandle connection, int32_t, int32_t count, const int32_t *ids,
                          const int32_t *times, const int16_t *statuses, const double *values,
                          int32_t *errors) {
  const auto rows = static_cast<size_t>(count);
  return write(connection, WriteKind::history, {rows, each(ids), each(times), statuses, values},
               errors);
}

int32_t kelp2_write_cache_one(ConnectionHandle connection, int32_t zero, int32_t id, int32_t count,
                              const int32_t *times, const int16_t *statuses, const double *values,
                              int32_t *error) {
  return kelp2_write_histroy_byid(connection, zero, id, count, times, statuses, values, error);
}

int32_t kelp2_write_snap(ConnectionHandle connection, int32_t, int32_t count, const int32_t *ids,
                         int32_t time, const int16_t *statuses, const double *values,
                         int32_t *errors) {
  const auto rows = static_cast<size_t>(count);
  return write(connection, WriteKind::snapshot, {rows, each(ids), all(time), statuses, values},
               errors);
}

int32_t kelp2_get_snap_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                            int32_t time, int16_t *statuses, double *values, int32_t *errors) {
  const Samples samples = connection->floor->as_of(ids_of(count, ids), time);
  return hand_out(samples, nullptr, statuses, values, errors);
}

int32_t kelp2_get_snap_byname(ConnectionHandle connection, GroupHandle group, int32_t time,
                              int16_t *statuses, double *values, int32_t *errors) {
  const std::vector<int32_t> ids = connection->floor->point_ids(group->names);
  return hand_out(connection->floor->as_of(ids, time), nullptr, statuses, values, errors);
}
