// The operations of the library over a floor. A failure is an exception that nobody catches: it
// ends the program and says why.
#include "stand_in.h"

#include <kelpapi2.h>

#include <algorithm>
#include <cstdio>
#include <tuple>

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

int32_t query(ConnectionHandle c, std::vector<int32_t> ids, const int32_t *modes,
              const kelp::Intervals &intervals, ResultHandle *results, int32_t *errors) {
  const auto query = std::make_shared<Query>(Query{*c->floor, std::move(ids), intervals});
  for (size_t i = 0; i < query->ids.size(); ++i) {
    results[i] = new kelp2_result{query, i, modes[i] == HistoryStatistics};
    errors[i] = 0;
  }
  return 0;
}

template <typename T>
kelp::Column<T> of(const T *entries) {
  return kelp::Column<T>::of(entries);
}
kelp::Column<int32_t> all(int32_t value) { return kelp::Column<int32_t>::all(value); }

int32_t write(ConnectionHandle c, WriteKind kind, int32_t count, kelp::Column<int32_t> ids,
              kelp::Column<int32_t> times, const int16_t *statuses, const double *values,
              int32_t *errors) {
  c->floor->write(kind, {static_cast<size_t>(count), ids, times, statuses, values});
  std::fill_n(errors, ids.constant() ? 1 : count, 0);
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
  return field[0] == 'F' ? record.fq : field[0] == 'A' ? record.ar : record.hw;
}

}  // namespace

// The parameters are named in the header; `c` is the connection, and numbers that a run leaves at 0
// have no name.
using C = ConnectionHandle;
using G = GroupHandle;
using O = ObjectHandle;
using R = ResultHandle;
using I = int32_t;
using Ins = const int16_t *;
using Reals = const double *;
using Text = const char *;

C kelp2_init(I, Text host, I port, I wait, Text user, Text password, Text route, I) {
  return new kelp2_connection{open_floor({host, port, user, password, wait, false}, route)};
}
I kelp2_status(C) { return 0; }
I kelp2_close(C c) { return delete c, 0; }
I kelp2_get_system_time(C c, I *time) { return *time = c->floor->now(), 0; }
I kelp2_encode_time(I year, I month, I day, I hour, I minute, I second) {
  return kelp::encode_time({year, month, day, hour, minute, second});
}
I kelp2_decode_time(I time, I *year, I *month, I *day, I *hour, I *minute, I *second) {
  const kelp::CalendarTime t = kelp::decode_time(time);
  std::tie(*year, *month, *day, *hour, *minute, *second) =
      std::tie(t.year, t.month, t.day, t.hour, t.minute, t.second);
  return 0;
}
I kelp2_get_database(C c, I *count, O **list) {
  const Objects databases = c->floor->databases();
  *list = new O[databases.size()];
  for (*count = 0; *count < std::ssize(databases); ++*count) {
    (*list)[*count] = new kelp2_object{databases[*count]};
  }
  return 0;
}
I kelp2_free_list(I count, O *list) {
  std::for_each_n(list, count, kelp2_free_object);
  return delete[] list, 0;
}

G kelp2_new_group(void) { return new kelp2_group; }
I kelp2_add_group_point(G group, Text name) { return group->names.emplace_back(name), 0; }
I kelp2_free_group(G group) { return delete group, 0; }
O kelp2_new_object(C, Text name, I kind) { return new kelp2_object{{0, kind, name, {}}}; }
I kelp2_object_set_string(O object, Text, Text value) { return object->record.ed = value, 0; }
I kelp2_object_set_int(O object, Text field, I value) { return number(object, field) = value, 0; }
I kelp2_object_set_double(O object, Text, double value) { return object->record.iv = value, 0; }
I kelp2_object_get_string(O object, Text field, char *buffer, I size) {
  const kelp::ObjectRecord &record = object->record;
  return std::snprintf(buffer, size, "%s", (field[0] == 'P' ? record.name : record.ed).c_str()), 0;
}
I kelp2_object_get_int(O object, Text field) { return number(object, field); }
double kelp2_object_get_double(O object, Text) { return object->record.iv; }
I kelp2_modify_object(C c, I operation, Text parent, I count, O *objects, I *errors) {
  for (I i = 0; i < count; ++i) {
    if (operation == Insert) c->floor->insert(parent, objects[i]->record);
    if (operation == Update) c->floor->update(parent, objects[i]->record);
    errors[i] = 0;
  }
  return count;
}
I kelp2_get_object_byid(C c, I count, const I *ids, O *objects, I *errors) {
  return hand_out(c->floor->objects(ids_of(count, ids)), objects, errors);
}
I kelp2_get_object_byname(C c, G group, O *objects, I *errors) {
  return hand_out(c->floor->objects(group->names), objects, errors);
}
I kelp2_get_child(C, Text, I *, O **) { return -1; }  // nor are objects deleted
I kelp2_get_id_byname(C c, G group, I *ids) {
  return std::ranges::copy(c->floor->point_ids(group->names), ids), 0;
}
I kelp2_free_object(O object) { return delete object, 0; }

I kelp2_write_value(C c, I, I count, const I *ids, I time, Ins statuses, Reals values, I *errors) {
  return write(c, WriteKind::realtime, count, of(ids), all(time), statuses, values, errors);
}
I kelp2_get_value_byid(C c, I count, const I *ids, I *times, int16_t *statuses, double *values,
                       I *errors) {
  return hand_out(c->floor->current(ids_of(count, ids)), times, statuses, values, errors);
}
I kelp2_get_value_byname(C c, G group, I *times, int16_t *statuses, double *values, I *errors) {
  const std::vector<I> ids = c->floor->point_ids(group->names);
  return hand_out(c->floor->current(ids), times, statuses, values, errors);
}
I kelp2_write_histroy_byid(C c, I, I id, I count, const I *times, Ins statuses, Reals values,
                           I *error) {
  return write(c, WriteKind::history, count, all(id), of(times), statuses, values, error);
}
I kelp2_write_histroy_byname(C c, I, Text full_name, I count, const I *times, Ins statuses,
                             Reals values, I *error) {
  const std::string name = full_name;
  const I id = c->floor->point_ids({&name, 1})[0];
  return write(c, WriteKind::history, count, all(id), of(times), statuses, values, error);
}
I kelp2_get_history_byid(C c, I count, const I *ids, const I *modes, I begin, I end, I interval,
                         R *results, I *errors) {
  return query(c, {ids, ids + count}, modes, {begin, end, interval}, results, errors);
}
I kelp2_get_history_byname(C c, G group, const I *modes, I begin, I end, I interval, R *results,
                           I *errors) {
  return query(c, c->floor->point_ids(group->names), modes, {begin, end, interval}, results,
               errors);
}
I kelp2_num_rows(R result) {
  result->samples = result->query->take(result->point);
  if (!result->statistics) return static_cast<I>(result->samples.size());
  result->rows = fold(result->samples, result->query->intervals);
  return static_cast<I>(result->rows.size());
}
I kelp2_fetch_timed_value(R result, I *time, int16_t *status, double *value) {
  const kelp::Sample &sample = result->samples[result->next++];
  return *time = sample.time, *status = sample.status, *value = sample.value, 0;
}
I kelp2_fetch_stat_value(R result, StatValue *row) {
  return *row = result->rows[result->next++], 0;
}
I kelp2_free_result(R result) { return delete result, 0; }

I kelp2_write_cache(C c, I, I count, const I *ids, const I *times, Ins statuses, Reals values,
                    I *errors) {
  return write(c, WriteKind::history, count, of(ids), of(times), statuses, values, errors);
}
I kelp2_write_cache_one(C c, I, I id, I count, const I *times, Ins statuses, Reals values,
                        I *error) {
  return write(c, WriteKind::history, count, all(id), of(times), statuses, values, error);
}
I kelp2_write_snap(C c, I, I count, const I *ids, I time, Ins statuses, Reals values, I *errors) {
  return write(c, WriteKind::snapshot, count, of(ids), all(time), statuses, values, errors);
}
I kelp2_get_snap_byid(C c, I count, const I *ids, I time, int16_t *statuses, double *values,
                      I *errors) {
  return hand_out(c->floor->as_of(ids_of(count, ids), time), nullptr, statuses, values, errors);
}
I kelp2_get_snap_byname(C c, G group, I time, int16_t *statuses, double *values, I *errors) {
  const std::vector<I> ids = c->floor->point_ids(group->names);
  return hand_out(c->floor->as_of(ids, time), nullptr, statuses, values, errors);
}
