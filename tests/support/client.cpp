#include "support/client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace kelptest {

namespace {

constexpr int32_t kUnset = 99;  // what no call fills in

int32_t count_of(const auto &entries) { return static_cast<int32_t>(entries.size()); }

Codes entries_of(int32_t result, Codes entries) {
  if (result == 0) return entries;
  return Codes(std::max<size_t>(entries.size(), 1), result);
}

struct Columns {
  Ids times;
  std::vector<int16_t> statuses;
  std::vector<double> values;

  explicit Columns(size_t count) : times(count), statuses(count), values(count) {}
  explicit Columns(const Rows &rows) : Columns(rows.size()) {
    for (size_t i = 0; i < rows.size(); ++i) {
      times[i] = rows[i].time;
      statuses[i] = rows[i].status;
      values[i] = rows[i].value;
    }
  }
};

// One row per point; `times` is an array or one time for all.
template <typename Call, typename Times>
Codes write_points(Call &&call, const Connection &connection, const Ids &ids, Times times,
                   const Columns &columns) {
  Codes errors(ids.size(), kUnset);
  const int32_t result = call(connection.get(), 0, count_of(ids), ids.data(), times,
                              columns.statuses.data(), columns.values.data(), errors.data());
  return entries_of(result, errors);
}

// Rows of one point, given by its id or name.
template <typename Call, typename Point>
int32_t write_point(Call &&call, const Connection &connection, Point point, const Rows &rows) {
  const Columns columns(rows);
  int32_t error = kUnset;
  const int32_t result = call(connection.get(), 0, point, count_of(rows), columns.times.data(),
                              columns.statuses.data(), columns.values.data(), &error);
  return result != 0 ? result : error;
}

// Makes a call that fills columns; what it read of the points whose entry is 0. Their time is
// `time` unless the call says another.
template <typename Call>
Readings read(size_t count, int32_t time, Call &&call) {
  Columns columns(count);
  columns.times.assign(count, time);
  Codes errors(count, kUnset);
  errors = entries_of(call(columns, errors.data()), errors);
  Readings readings(count);
  for (size_t i = 0; i < count; ++i) {
    if (errors[i] != 0) continue;
    readings[i] = Row{columns.times[i], columns.statuses[i], columns.values[i]};
  }
  return readings;
}

// Makes a call that hands out handles: one wherever the entry is 0, and only there.
template <typename Owner, typename Call>
std::vector<Owner> handed_out(size_t count, Call &&call) {
  std::vector<typename Owner::pointer> handles(count);
  Codes errors(count, kUnset);
  call(handles.data(), errors.data());
  for (size_t i = 0; i < count; ++i) EXPECT_EQ(handles[i] != nullptr, errors[i] == 0) << i;
  return {handles.begin(), handles.end()};
}

Rows rows_of(const Result &result) {
  Rows rows(std::max(kelp2_num_rows(result.get()), 0));
  for (Row &row : rows) row = fetch(result).value();
  return rows;
}

}  // namespace

int32_t first_failure(const Codes &codes) {
  const auto failed = std::find_if(codes.begin(), codes.end(), [](int32_t code) { return code; });
  return failed == codes.end() ? 0 : *failed;
}

Connection connect(const Login &login, int32_t option) {
  return Connection(kelp2_init(option, login.hosts.c_str(), login.port, login.bound,
                               login.name.c_str(), login.password.c_str(), "NULL", 0));
}

Group group_of(const Names &names) {
  Group group(kelp2_new_group());
  for (const std::string &name : names) kelp2_add_group_point(group.get(), name.c_str());
  return group;
}

Object new_object(const Connection &connection, const std::string &name, int32_t kind) {
  return Object(kelp2_new_object(connection.get(), name.c_str(), kind));
}

Object object(const Connection &connection, const std::string &name) {
  const Group group = group_of({name});
  return std::move(handed_out<Object>(1, [&](ObjectHandle *handles, int32_t *errors) {
    kelp2_get_object_byname(connection.get(), group.get(), handles, errors);
  })[0]);
}

std::vector<Object> objects(const Connection &connection, const Ids &ids) {
  return handed_out<Object>(ids.size(), [&](ObjectHandle *handles, int32_t *errors) {
    kelp2_get_object_byid(connection.get(), count_of(ids), ids.data(), handles, errors);
  });
}

std::string text(const Object &object, const char *field) {
  std::string buffer(200'000, '\0');
  kelp2_object_get_string(object.get(), field, buffer.data(), count_of(buffer));
  return buffer.c_str();
}

Names children(const Connection &connection, const std::string &node) {
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  kelp2_get_child(connection.get(), node.c_str(), &count, &list);
  Names names;
  for (int32_t i = 0; i < count; ++i) {
    char name[256];
    kelp2_object_get_string(list[i], KELP2_FIELD_NAME, name, sizeof name);
    names.push_back(name);
  }
  kelp2_free_list(count, list);
  return names;
}

Ids ids_of(const Connection &connection, const Names &names) {
  Ids ids(names.size(), kUnset);
  EXPECT_EQ(kelp2_get_id_byname(connection.get(), group_of(names).get(), ids.data()), 0);
  return ids;
}

Codes modify(const Connection &connection, int32_t operation, const std::string &parent,
             std::vector<ObjectHandle> objects) {
  Codes errors(objects.size(), kUnset);
  const int32_t done = kelp2_modify_object(connection.get(), operation, parent.c_str(),
                                           count_of(objects), objects.data(), errors.data());
  // A failure of the whole call is in the entries, too.
  EXPECT_EQ(std::max(done, 0), std::count(errors.begin(), errors.end(), 0)) << done;
  return errors;
}

int32_t insert(const Connection &connection, const std::string &parent, const std::string &name,
               int32_t kind) {
  return modify(connection, Insert, parent, {new_object(connection, name, kind).get()})[0];
}

int32_t erase(const Connection &connection, const std::string &parent, const std::string &name) {
  return modify(connection, Delete, parent, {object(connection, parent + "." + name).get()})[0];
}

Ids make_points(const Connection &connection, int count) {
  EXPECT_EQ(insert(connection, "W3", "N", KindNode), 0);
  std::vector<Object> points;
  std::vector<ObjectHandle> handles;
  Names names;
  for (int i = 0; i < count; ++i) {
    const std::string name = "P" + std::to_string(i);
    points.push_back(new_object(connection, name, AX + i % 5));
    handles.push_back(points.back().get());
    names.push_back("W3.N." + name);
  }
  EXPECT_EQ(modify(connection, Insert, "W3.N", handles), Codes(handles.size(), 0));
  Ids ids = ids_of(connection, names);
  EXPECT_EQ(std::count(ids.begin(), ids.end(), 0), 0);
  return ids;
}

bool Row::operator==(const Row &other) const {
  const auto bits = [](double x) { return std::isnan(x) ? -1 : std::bit_cast<int64_t>(x); };
  return time == other.time && status == other.status && bits(value) == bits(other.value);
}

std::ostream &operator<<(std::ostream &out, const Row &row) {
  return out << '(' << row.time << ", " << row.status << ", " << row.value << ')';
}

Codes write_value(const Connection &connection, const Ids &ids, const Rows &rows) {
  return write_points(kelp2_write_value, connection, ids, rows.at(0).time, Columns(rows));
}

Codes write_snap(const Connection &connection, const Ids &ids, const Rows &rows) {
  return write_points(kelp2_write_snap, connection, ids, rows.at(0).time, Columns(rows));
}

Codes write_cache(const Connection &connection, const Ids &ids, const Rows &rows) {
  const Columns columns(rows);
  return write_points(kelp2_write_cache, connection, ids, columns.times.data(), columns);
}

int32_t write_cache_one(const Connection &connection, int32_t id, const Rows &rows) {
  return write_point(kelp2_write_cache_one, connection, id, rows);
}

int32_t write_history(const Connection &connection, int32_t id, const Rows &rows) {
  return write_point(kelp2_write_histroy_byid, connection, id, rows);
}

int32_t write_history_by_name(const Connection &connection, const std::string &name,
                              const Rows &rows) {
  return write_point(kelp2_write_histroy_byname, connection, name.c_str(), rows);
}

Readings current(const Connection &connection, const Ids &ids) {
  return read(ids.size(), kUnset, [&](Columns &to, int32_t *errors) {
    return kelp2_get_value_byid(connection.get(), count_of(ids), ids.data(), to.times.data(),
                                to.statuses.data(), to.values.data(), errors);
  });
}

Readings current_by_name(const Connection &connection, const Names &names) {
  const Group group = group_of(names);
  return read(names.size(), kUnset, [&](Columns &to, int32_t *errors) {
    return kelp2_get_value_byname(connection.get(), group.get(), to.times.data(),
                                  to.statuses.data(), to.values.data(), errors);
  });
}

Readings snapshot(const Connection &connection, const Ids &ids, int32_t time) {
  return read(ids.size(), time, [&](Columns &to, int32_t *errors) {
    return kelp2_get_snap_byid(connection.get(), count_of(ids), ids.data(), time,
                               to.statuses.data(), to.values.data(), errors);
  });
}

Readings snapshot_by_name(const Connection &connection, const Names &names, int32_t time) {
  const Group group = group_of(names);
  return read(names.size(), time, [&](Columns &to, int32_t *errors) {
    return kelp2_get_snap_byname(connection.get(), group.get(), time, to.statuses.data(),
                                 to.values.data(), errors);
  });
}

std::vector<Result> query(const Connection &connection, const Ids &ids, HistoryMode mode,
                          const Span &span) {
  const Codes modes(ids.size(), mode);
  return handed_out<Result>(ids.size(), [&](ResultHandle *handles, int32_t *errors) {
    kelp2_get_history_byid(connection.get(), count_of(ids), ids.data(), modes.data(), span.begin,
                           span.end, span.step, handles, errors);
  });
}

std::vector<Result> query_by_name(const Connection &connection, const Names &names,
                                  HistoryMode mode, const Span &span) {
  const Codes modes(names.size(), mode);
  const Group group = group_of(names);
  return handed_out<Result>(names.size(), [&](ResultHandle *handles, int32_t *errors) {
    kelp2_get_history_byname(connection.get(), group.get(), modes.data(), span.begin, span.end,
                             span.step, handles, errors);
  });
}

std::optional<Row> fetch(const Result &result) {
  Row row;
  const int32_t failure = kelp2_fetch_timed_value(result.get(), &row.time, &row.status, &row.value);
  return failure == 0 ? std::optional(row) : std::nullopt;
}

Rows history(const Connection &connection, int32_t id, const Span &span) {
  return rows_of(query(connection, {id}, HistoryTimed, span)[0]);
}

Rows history_by_name(const Connection &connection, const std::string &name, const Span &span) {
  return rows_of(query_by_name(connection, {name}, HistoryTimed, span)[0]);
}

}  // namespace kelptest
