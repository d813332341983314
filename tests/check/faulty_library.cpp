// A libkelpapi2 that is preloaded before the real one and breaks one thing, which the variable
// KELP_FAULT names as OPERATION:FAULT, without the prefix kelp2_. All else goes on to the real one.
#include <dlfcn.h>
#include <kelpapi2.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

bool is(const std::string &fault) {
  static const char *const active = std::getenv("KELP_FAULT");
  return active != nullptr && fault == active;
}

// What any operation can do.
void misbehave(const std::string &operation) {
  if (is(operation + ":hang")) pause();
  if (is(operation + ":crash")) raise(SIGSEGV);
  if (is(operation + ":abort")) std::abort();
  if (is(operation + ":exit")) std::exit(0);
  if (is(operation + ":prints")) std::fprintf(stderr, "the library has something to say\n");
}

// Faults that show after certain calls only.
bool cached = false, updated = false, erased = false;

// Whether a call of that operation is lost: the first one after another one set `flag`.
bool lost(const std::string &fault, bool &flag) {
  const bool now = is(fault) && flag;
  if (now) flag = false;
  return now;
}

#define REAL(operation)                                                                        \
  [] {                                                                                         \
    static const auto real =                                                                   \
        reinterpret_cast<decltype(&kelp2_##operation)>(dlsym(RTLD_NEXT, "kelp2_" #operation)); \
    misbehave(#operation);                                                                     \
    return real;                                                                               \
  }()

struct Row {
  int32_t id, time;
  int16_t status;
  double value;
};

void spoil(const std::string &operation, size_t i, Row &row) {
  const auto broken = [&](const char *fault) { return is(operation + ":" + fault); };
  if (broken("rounded")) row.value = std::round(row.value * 1000) / 1000;
  if (broken("in 32 bits")) row.value = static_cast<float>(row.value);
  if (broken("without sign")) row.value = std::abs(row.value);
  if (broken("no status")) row.status = 0;
  if (broken("status in 8 bits")) row.status = static_cast<int8_t>(row.status);
  if (broken("status without sign")) row.status = static_cast<int16_t>(std::abs(row.status));
  if (broken("a second late")) ++row.time;
  if (broken("only the first right") && i >= 4) row.value = 0;
}

// The rows as a broken operation sees them. `errors` are those of all rows.
class Rows {
 public:
  Rows(const char *operation, int32_t count, const int32_t *ids, const int32_t *times,
       bool one_time, const int16_t *statuses, const double *values)
      : one_time_(one_time) {
    const std::string name = operation;
    for (int32_t i = 0; i < count; ++i) {
      Row row{ids ? ids[i] : 0, times[one_time ? 0 : i], statuses[i], values[i]};
      spoil(name, i, row);
      rows_.push_back(row);
    }
    if (is(name + ":last lost") && count > 0) rows_.pop_back();
    if (is(name + ":one lost") && count > 2) rows_.erase(rows_.begin() + count / 2);
    if (is(name + ":all lost")) rows_.clear();
    if (is(name + ":two swapped") && count > 1) std::swap(rows_[0].value, rows_[count - 1].value);
    for (const Row &row : rows_) {
      ids_.push_back(row.id);
      times_.push_back(row.time);
      statuses_.push_back(row.status);
      values_.push_back(row.value);
    }
  }
  int32_t count() const { return static_cast<int32_t>(rows_.size()); }
  const int32_t *ids() const { return ids_.data(); }
  const int32_t *times() const { return times_.data(); }
  int32_t time(int32_t given) const { return one_time_ && !times_.empty() ? times_[0] : given; }
  const int16_t *statuses() const { return statuses_.data(); }
  const double *values() const { return values_.data(); }

 private:
  bool one_time_;
  std::vector<Row> rows_;
  std::vector<int32_t> ids_, times_;
  std::vector<int16_t> statuses_;
  std::vector<double> values_;
};

int32_t size_of(GroupHandle group);

void spoil_readings(const std::string &operation, int32_t count, int32_t *times, int16_t *statuses,
                    double *values, int32_t *errors) {
  for (int32_t i = 0; i < count; ++i) {
    Row row{0, times ? times[i] : 0, statuses[i], values[i]};
    spoil(operation, i, row);
    if (times) times[i] = row.time;
    statuses[i] = row.status;
    values[i] = row.value;
    if (is(operation + ":entries 0")) errors[i] = 0;
    if (is(operation + ":an entry unwritten") && i == count - 1) errors[i] = 0x5A5A;
  }
  if (is(operation + ":neighbour")) std::rotate(values, values + 1, values + count);
  if (is(operation + ":reversed")) {
    std::reverse(values, values + count);
    std::reverse(statuses, statuses + count);
  }
  if (is(operation + ":one too many")) errors[count] = 0;
}

std::map<GroupHandle, std::vector<std::string>> groups;
int sessions_opened = 0, sessions_closed = 0;
bool has_written = false;
ConnectionHandle first_session = nullptr;
ResultHandle first_result = nullptr;

int32_t size_of(GroupHandle group) { return static_cast<int32_t>(groups[group].size()); }

}  // namespace

ConnectionHandle kelp2_init(int32_t option, const char *host, int32_t port, int32_t parameter,
                            const char *user, const char *password, const char *route,
                            int32_t size) {
  if (is("init:refused")) return nullptr;
  if (is("init:only one") && sessions_opened > sessions_closed) return nullptr;
  if (is("init:tells how long")) std::fprintf(stderr, "waits %d s\n", parameter);
  if (is("init:tells the password")) std::fprintf(stderr, "login with %s\n", password);
  ConnectionHandle session = REAL(init)(option, host, port, parameter, user, password, route, size);
  if (sessions_opened++ == 0) first_session = session;
  return session;
}

int32_t kelp2_status(ConnectionHandle session) {
  if (is("status:always 0")) return 0;
  return is("status:always 1") ? 1 : REAL(status)(session);
}

int32_t kelp2_close(ConnectionHandle session) {
  ++sessions_closed;
  return REAL(close)(session);
}

int32_t kelp2_get_system_time(ConnectionHandle session, int32_t *time) {
  const int32_t result = REAL(get_system_time)(session, time);
  if (is("get_system_time:an hour late")) *time -= 3600;
  if (is("get_system_time:stands still")) *time = *time / 60 * 60;
  return result;
}

int32_t kelp2_encode_time(int32_t y, int32_t mo, int32_t d, int32_t h, int32_t mi, int32_t s) {
  const int32_t time = REAL(encode_time)(y, mo, d, h, mi, s);
  if (is("encode_time:leap days") && y % 4 == 0 && mo > 2) return time - 86400;
  if (is("encode_time:2000") && y >= 2000) return time - 86400;
  if (is("encode_time:before 1970") && time < 0) return 0;
  return time;
}

int32_t kelp2_decode_time(int32_t time, int32_t *y, int32_t *mo, int32_t *d, int32_t *h,
                          int32_t *mi, int32_t *s) {
  const int32_t result = REAL(decode_time)(time, y, mo, d, h, mi, s);
  if (is("decode_time:december") && *mo == 12) *mo = 0;
  if (is("decode_time:seconds") && *s == 59) *s = 58;
  return result;
}

int32_t kelp2_get_database(ConnectionHandle session, int32_t *count, ObjectHandle **list) {
  if (is("get_database:empty")) return *count = 0;
  return REAL(get_database)(session, count, list);
}

int32_t kelp2_add_group_point(GroupHandle group, const char *name) {
  std::string added = name;
  auto &names = groups[group];
  if (is("add_group_point:once each") && std::count(names.begin(), names.end(), name)) return 0;
  if (is("add_group_point:cut")) added = added.substr(0, 20);
  names.push_back(name);
  return REAL(add_group_point)(group, added.c_str());
}

int32_t kelp2_free_group(GroupHandle group) {
  groups.erase(group);
  return REAL(free_group)(group);
}

int32_t kelp2_object_set_string(ObjectHandle object, const char *field, const char *value) {
  std::string text = value;
  if (is("object_set_string:cut")) text = text.substr(0, 20);
  if (is("object_set_string:ascii")) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0; }, '?');
  }
  if (is("object_set_string:trimmed")) text.erase(text.find_last_not_of(' ') + 1);
  return REAL(object_set_string)(object, field, text.c_str());
}

int32_t kelp2_object_set_int(ObjectHandle object, const char *field, int32_t value) {
  if (is("object_set_int:16 bits")) value = static_cast<int16_t>(value);
  if (is("object_set_int:wrong field") && strcmp(field, "FQ") == 0) field = "AR";
  return REAL(object_set_int)(object, field, value);
}

int32_t kelp2_object_set_double(ObjectHandle object, const char *field, double value) {
  if (is("object_set_double:32 bits")) value = static_cast<float>(value);
  return REAL(object_set_double)(object, field, value);
}

int32_t kelp2_object_get_string(ObjectHandle object, const char *field, char *buffer,
                                int32_t size) {
  const int32_t result = REAL(object_get_string)(object, field, buffer, size);
  if (is("object_get_string:no end") && size < 10) buffer[size - 1] = '!';
  if (is("object_get_string:too long")) buffer[size] = '\0';
  return result;
}

int32_t kelp2_modify_object(ConnectionHandle session, int32_t operation, const char *parent,
                            int32_t count, ObjectHandle *objects, int32_t *errors) {
  const auto done = [&] {
    std::fill_n(errors, count, 0);
    return count;
  };
  if (operation == Update && is("modify_object:updates ignored")) return done();
  if (operation == Update && is("modify_object:only the first updated")) {
    const int32_t first = REAL(modify_object)(session, operation, parent, 1, objects, errors);
    return first == 1 ? done() : first;
  }
  if (operation == Delete && is("modify_object:deletes nothing")) return done();
  int32_t result = REAL(modify_object)(session, operation, parent, count, objects, errors);
  if (operation == Update && result > 0) updated = true;
  if (operation == Delete && result > 0) erased = true;
  if (operation == Insert && is("modify_object:inserts all")) return done();
  if (operation == Insert && is("modify_object:counts one less")) --result;
  if (is("modify_object:entries 0")) std::fill_n(errors, count, 0);
  return result;
}

int32_t kelp2_get_object_byid(ConnectionHandle session, int32_t count, const int32_t *ids,
                              ObjectHandle *objects, int32_t *errors) {
  const int32_t result = REAL(get_object_byid)(session, count, ids, objects, errors);
  if (is("get_object_byid:two swapped") && count > 1) std::swap(objects[0], objects[count - 1]);
  if (is("get_object_byid:entries 0")) std::fill_n(errors, count, 0);
  return result;
}

int32_t kelp2_get_object_byname(ConnectionHandle session, GroupHandle group, ObjectHandle *objects,
                                int32_t *errors) {
  if (is("get_object_byname:few names") && size_of(group) > 20) return -1;
  const int32_t result = REAL(get_object_byname)(session, group, objects, errors);
  if (is("get_object_byname:two swapped") && size_of(group) > 1) std::swap(objects[0], objects[1]);
  if (is("get_object_byname:entries 0")) std::fill_n(errors, size_of(group), 0);
  return result;
}

int32_t kelp2_get_child(ConnectionHandle session, const char *name, int32_t *count,
                        ObjectHandle **list) {
  const int32_t result = REAL(get_child)(session, name, count, list);
  if (is("get_child:one missing") && *count > 2) --*count;
  return result;
}

int32_t kelp2_get_id_byname(ConnectionHandle session, GroupHandle group, int32_t *ids) {
  const int32_t result = REAL(get_id_byname)(session, group, ids);
  const int32_t count = size_of(group);
  if (is("get_id_byname:two swapped") && count > 1) std::swap(ids[0], ids[1]);
  if (is("get_id_byname:wrong name")) {
    for (int32_t i = 0; i < count; ++i) {
      if (groups[group][i].ends_with("P00002")) --ids[i];
    }
  }
  return result;
}

int32_t kelp2_write_value(ConnectionHandle session, int32_t zero, int32_t count, const int32_t *ids,
                          int32_t time, const int16_t *statuses, const double *values,
                          int32_t *errors) {
  const Rows rows("write_value", count, ids, &time, true, statuses, values);
  std::fill_n(errors, count, 0);
  if (count > 0 && lost("write_value:lost after an update", updated)) return 0;
  if (is("write_value:refuses a point twice") && count == 2 && ids[0] == ids[1]) return -1;
  return REAL(write_value)(session, zero, rows.count(), rows.ids(), rows.time(time),
                           rows.statuses(), rows.values(), errors);
}

int32_t kelp2_get_value_byid(ConnectionHandle session, int32_t count, const int32_t *ids,
                             int32_t *times, int16_t *statuses, double *values, int32_t *errors) {
  const int32_t result = REAL(get_value_byid)(session, count, ids, times, statuses, values, errors);
  spoil_readings("get_value_byid", count, times, statuses, values, errors);
  return result;
}

int32_t kelp2_get_value_byname(ConnectionHandle session, GroupHandle group, int32_t *times,
                               int16_t *statuses, double *values, int32_t *errors) {
  if (cached && is("get_value_byname:crash after write_cache")) raise(SIGSEGV);
  const int32_t result = REAL(get_value_byname)(session, group, times, statuses, values, errors);
  spoil_readings("get_value_byname", size_of(group), times, statuses, values, errors);
  return result;
}

int32_t kelp2_write_histroy_byid(ConnectionHandle session, int32_t zero, int32_t id, int32_t count,
                                 const int32_t *times, const int16_t *statuses,
                                 const double *values, int32_t *error) {
  has_written = true;
  static std::map<std::pair<int32_t, int32_t>, int> written;
  if (count == 1 && ++written[{id, times[0]}] == 3 && is("write_histroy_byid:third lost")) {
    *error = 0;
    return 0;
  }
  std::vector<double> sums(values, values + count);
  if (is("write_histroy_byid:adds")) {
    static std::map<std::pair<int32_t, int32_t>, double> all;
    for (int32_t i = 0; i < count; ++i) sums[i] = all[{id, times[i]}] += values[i];
  }
  const Rows rows("write_histroy_byid", count, nullptr, times, false, statuses, sums.data());
  return REAL(write_histroy_byid)(session, zero, id, rows.count(), rows.times(), rows.statuses(),
                                  rows.values(), error);
}

int32_t kelp2_write_histroy_byname(ConnectionHandle session, int32_t zero, const char *name,
                                   int32_t count, const int32_t *times, const int16_t *statuses,
                                   const double *values, int32_t *error) {
  const Rows rows("write_histroy_byname", count, nullptr, times, false, statuses, values);
  if (count > 0 && lost("write_histroy_byname:lost after a deletion", erased)) {
    *error = 0;
    return 0;
  }
  std::string point = name;
  if (is("write_histroy_byname:wrong point") && point.ends_with("2")) point.back() = '1';
  return REAL(write_histroy_byname)(session, zero, point.c_str(), rows.count(), rows.times(),
                                    rows.statuses(), rows.values(), error);
}

int32_t kelp2_get_history_byid(ConnectionHandle session, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *results, int32_t *errors) {
  if (is("get_history_byid:begins late")) ++begin;
  if (is("get_history_byid:ends late")) end += 20;
  const int32_t result =
      REAL(get_history_byid)(session, count, ids, modes, begin, end, interval, results, errors);
  if (is("get_history_byid:two swapped") && count > 1) std::swap(results[0], results[1]);
  if (is("get_history_byid:entries 0")) std::fill_n(errors, count, 0);
  if (count > 0) first_result = results[0];
  return result;
}

int32_t kelp2_get_history_byname(ConnectionHandle session, GroupHandle group, const int32_t *modes,
                                 int32_t begin, int32_t end, int32_t interval,
                                 ResultHandle *results, int32_t *errors) {
  if (is("get_history_byname:second session blind") && session != first_session) end = begin;
  if (is("get_history_byname:ends at its end")) ++end;
  if (is("get_history_byname:lost by closing") && sessions_closed > 0) end = begin;
  if (is("get_history_byname:only what was written here") && !has_written) end = begin;
  return REAL(get_history_byname)(session, group, modes, begin, end, interval, results, errors);
}

int32_t kelp2_num_rows(ResultHandle result) {
  const int32_t rows = REAL(num_rows)(result);
  if (is("num_rows:one more")) return rows + 1;
  return is("num_rows:one less") && rows > 2 ? rows - 1 : rows;
}

int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status,
                                double *value) {
  if (is("fetch_timed_value:shared position") && result != nullptr) result = first_result;
  static int fetched = 0;
  const int32_t code = REAL(fetch_timed_value)(result, time, status, value);
  Row row{0, *time, *status, *value};
  spoil("fetch_timed_value", fetched++, row);
  *time = row.time;
  *status = row.status;
  *value = row.value;
  return code;
}

int32_t kelp2_fetch_stat_value(ResultHandle result, StatValue *row) {
  const int32_t code = REAL(fetch_stat_value)(result, row);
  static int fetched = 0;
  ++fetched;
  if (is("fetch_stat_value:mean")) row->mean *= 1.0001;
  if (is("fetch_stat_value:avg")) row->avg *= 1.0001;
  if (is("fetch_stat_value:avg of its own")) row->avg = row->max / 2 + row->min / 2;
  if (is("fetch_stat_value:flow")) row->flow *= 2;
  if (is("fetch_stat_value:stdev in turn") && fetched % 2) row->stdev *= 1.1;
  if (is("fetch_stat_value:max and min")) std::swap(row->max, row->min);
  if (is("fetch_stat_value:maxtime")) ++row->maxtime;
  if (is("fetch_stat_value:time")) row->time += 10;
  if (is("fetch_stat_value:status") && row->status != 0) ++row->status;
  return is("fetch_stat_value:gives 2") ? 2 : code;
}

int32_t kelp2_write_cache(ConnectionHandle session, int32_t zero, int32_t count, const int32_t *ids,
                          const int32_t *times, const int16_t *statuses, const double *values,
                          int32_t *errors) {
  const Rows rows("write_cache", count, ids, times, false, statuses, values);
  std::fill_n(errors, count, 0);
  cached = cached || count > 0;
  return REAL(write_cache)(session, zero, rows.count(), rows.ids(), rows.times(), rows.statuses(),
                           rows.values(), errors);
}

int32_t kelp2_write_cache_one(ConnectionHandle session, int32_t zero, int32_t id, int32_t count,
                              const int32_t *times, const int16_t *statuses, const double *values,
                              int32_t *error) {
  const Rows rows("write_cache_one", count, nullptr, times, false, statuses, values);
  return REAL(write_cache_one)(session, zero, id, rows.count(), rows.times(), rows.statuses(),
                               rows.values(), error);
}

int32_t kelp2_write_snap(ConnectionHandle session, int32_t zero, int32_t count, const int32_t *ids,
                         int32_t time, const int16_t *statuses, const double *values,
                         int32_t *errors) {
  const Rows rows("write_snap", count, ids, &time, true, statuses, values);
  std::fill_n(errors, count, 0);
  if (count > 0 && lost("write_snap:lost after write_cache", cached)) return 0;
  return REAL(write_snap)(session, zero, rows.count(), rows.ids(), rows.time(time), rows.statuses(),
                          rows.values(), errors);
}

int32_t kelp2_get_snap_byid(ConnectionHandle session, int32_t count, const int32_t *ids,
                            int32_t time, int16_t *statuses, double *values, int32_t *errors) {
  if (is("get_snap_byid:earlier")) time -= 10;
  const int32_t result = REAL(get_snap_byid)(session, count, ids, time, statuses, values, errors);
  spoil_readings("get_snap_byid", count, nullptr, statuses, values, errors);
  return result;
}

int32_t kelp2_get_snap_byname(ConnectionHandle session, GroupHandle group, int32_t time,
                              int16_t *statuses, double *values, int32_t *errors) {
  const int32_t result = REAL(get_snap_byname)(session, group, time, statuses, values, errors);
  spoil_readings("get_snap_byname", size_of(group), nullptr, statuses, values, errors);
  return result;
}
