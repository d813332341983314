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

Codes write_at_one_time(decltype(kelp2_write_value) call, ConnectionHandle connection,
                        const Ids &ids, const Rows &rows) {
  const Columns columns(rows);
  Codes errors(rows.size(), kUnset);
  for (size_t begin = 0, end = 0; begin < rows.size(); begin = end) {
    while (end < rows.size() && rows[end].time == rows[begin].time) ++end;
    const int32_t result =
        call(connection, 0, static_cast<int32_t>(end - begin), &ids[begin], rows[begin].time,
             &columns.statuses[begin], &columns.values[begin], &errors[begin]);
    if (result != 0) return entries_of(result, errors);
  }
  return errors;
}

int32_t write_point(decltype(kelp2_write_cache_one) call, ConnectionHandle connection, int32_t id,
                    const Rows &rows) {
  const Columns columns(rows);
  int32_t error = kUnset;
  const int32_t result = call(connection, 0, id, count_of(rows), columns.times.data(),
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
  const int32_t result = call(columns, errors.data());
  Readings readings(count);
  for (size_t i = 0; i < count; ++i) {
    if (result != 0 || errors[i] != 0) continue;
    readings[i] = Row{columns.times[i], columns.statuses[i], columns.values[i]};
  }
  return readings;
}

// Makes a call that hands out handles: one wherever the entry is 0, and only there.
template <typename Owner, typename Call>
std::vector<Owner> handed_out(size_t count, Call &&call) {
  static char nothing;  // no handle: every slot is to be written
  const auto unset = reinterpret_cast<typename Owner::pointer>(&nothing);
  std::vector<typename Owner::pointer> handles(count, unset);
  Codes errors(count, kUnset);
  call(handles.data(), errors.data());
  for (size_t i = 0; i < count; ++i) EXPECT_EQ(handles[i] != nullptr, errors[i] == 0) << i;
  return {handles.begin(), handles.end()};
}

}  // namespace

int32_t first_failure(const Codes &codes) {
  const auto failed = std::find_if(codes.begin(), codes.end(), [](int32_t code) { return code; });
  return failed == codes.end() ? 0 : *failed;
}

Connection::Connection(const Login &login, int32_t option)
    : handle_(kelp2_init(option, login.hosts.c_str(), login.port, login.bound, login.name.c_str(),
                         login.password.c_str(), "NULL", 0)) {}

Group group_of(const Names &names) {
  Group group(kelp2_new_group());
  for (const std::string &name : names) kelp2_add_group_point(group.get(), name.c_str());
  return group;
}

Object Connection::new_object(const std::string &name, int32_t kind) const {
  return Object(kelp2_new_object(handle(), name.c_str(), kind));
}

Object Connection::object(const std::string &name) const {
  const Group group = group_of({name});
  return std::move(handed_out<Object>(1, [&](ObjectHandle *handles, int32_t *errors) {
    kelp2_get_object_byname(handle(), group.get(), handles, errors);
  })[0]);
}

std::vector<Object> Connection::objects(const Ids &ids) const {
  return handed_out<Object>(ids.size(), [&](ObjectHandle *handles, int32_t *errors) {
    kelp2_get_object_byid(handle(), count_of(ids), ids.data(), handles, errors);
  });
}

std::string text(const Object &object, const char *field) {
  std::string buffer(200'000, '\0');
  kelp2_object_get_string(object.get(), field, buffer.data(), count_of(buffer));
  return buffer.c_str();
}

Names Connection::children(const std::string &node) const {
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  kelp2_get_child(handle(), node.c_str(), &count, &list);
  Names names;
  for (int32_t i = 0; i < count; ++i) {
    char name[256];
    kelp2_object_get_string(list[i], KELP2_FIELD_NAME, name, sizeof name);
    names.push_back(name);
  }
  kelp2_free_list(count, list);
  return names;
}

Ids Connection::ids_of(const Names &names) const {
  Ids ids(names.size(), kUnset);
  EXPECT_EQ(kelp2_get_id_byname(handle(), group_of(names).get(), ids.data()), 0);
  return ids;
}

Codes Connection::modify(int32_t operation, const std::string &parent,
                         std::vector<ObjectHandle> objects) const {
  Codes errors(objects.size(), 0);  // which is to be overwritten where an object is not done
  const int32_t done = kelp2_modify_object(handle(), operation, parent.c_str(), count_of(objects),
                                           objects.data(), errors.data());
  EXPECT_EQ(std::max(done, 0), std::count(errors.begin(), errors.end(), 0)) << done;
  return errors;
}

int32_t Connection::insert(const std::string &parent, const std::string &name, int32_t kind) const {
  return modify(Insert, parent, {new_object(name, kind).get()})[0];
}

int32_t Connection::erase(const std::string &parent, const std::string &name) const {
  return modify(Delete, parent, {object(parent + "." + name).get()})[0];
}

Ids Connection::make_points(int count) const {
  EXPECT_EQ(insert("W3", "N", KindNode), 0);
  std::vector<Object> points;
  std::vector<ObjectHandle> handles;
  Names names;
  for (int i = 0; i < count; ++i) {
    const std::string name = "P" + std::to_string(i);
    points.push_back(new_object(name, AX + i % 5));
    handles.push_back(points.back().get());
    names.push_back("W3.N." + name);
  }
  EXPECT_EQ(modify(Insert, "W3.N", handles), Codes(handles.size(), 0));
  Ids ids = ids_of(names);
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

Codes Connection::write_value(const Ids &ids, const Rows &rows) const {
  return write_at_one_time(kelp2_write_value, handle(), ids, rows);
}

Codes Connection::write_snap(const Ids &ids, const Rows &rows) const {
  return write_at_one_time(kelp2_write_snap, handle(), ids, rows);
}

Codes Connection::write_cache(const Ids &ids, const Rows &rows) const {
  const Columns columns(rows);
  Codes errors(rows.size(), kUnset);
  const int32_t result =
      kelp2_write_cache(handle(), 0, count_of(rows), ids.data(), columns.times.data(),
                        columns.statuses.data(), columns.values.data(), errors.data());
  return entries_of(result, errors);
}

int32_t Connection::write_cache_one(int32_t id, const Rows &rows) const {
  return write_point(kelp2_write_cache_one, handle(), id, rows);
}

int32_t Connection::write_history(int32_t id, const Rows &rows) const {
  return write_point(kelp2_write_histroy_byid, handle(), id, rows);
}

Readings Connection::current(const Ids &ids) const {
  return read(ids.size(), kUnset, [&](Columns &to, int32_t *errors) {
    return kelp2_get_value_byid(handle(), count_of(ids), ids.data(), to.times.data(),
                                to.statuses.data(), to.values.data(), errors);
  });
}

Readings Connection::snapshot(const Ids &ids, int32_t time) const {
  return read(ids.size(), time, [&](Columns &to, int32_t *errors) {
    return kelp2_get_snap_byid(handle(), count_of(ids), ids.data(), time, to.statuses.data(),
                               to.values.data(), errors);
  });
}

std::vector<Result> Connection::query(const Ids &ids, HistoryMode mode, const Span &span) const {
  const Codes modes(ids.size(), mode);
  return handed_out<Result>(ids.size(), [&](ResultHandle *handles, int32_t *errors) {
    kelp2_get_history_byid(handle(), count_of(ids), ids.data(), modes.data(), span.begin, span.end,
                           span.step, handles, errors);
  });
}

std::optional<Row> fetch(const Result &result) {
  Row row;
  const int32_t failure = kelp2_fetch_timed_value(result.get(), &row.time, &row.status, &row.value);
  return failure == 0 ? std::optional(row) : std::nullopt;
}

Rows Connection::history(int32_t id, const Span &span) const {
  const std::vector<Result> results = query({id}, HistoryTimed, span);
  Rows rows(std::max(kelp2_num_rows(results[0].get()), 0));
  for (Row &row : rows) row = fetch(results[0]).value();
  return rows;
}

}  // namespace kelptest
