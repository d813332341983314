// The fixture of the suite: an empty store of the engine that is the parameter, and the library's
// operations with vectors in place of arrays. Handles live as long as the test.
#pragma once

#include <gtest/gtest.h>
#include <kelpapi2.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <memory>
#include <optional>

#include "support/process.h"
#include "support/required.h"
#include "support/server.h"

namespace kelptest {

using Connection = std::shared_ptr<kelp2_connection>;
using Result = std::shared_ptr<kelp2_result>;
using Ids = std::vector<int32_t>;
using Codes = std::vector<int32_t>;
const Codes kDone{0};

struct Row {
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
  // To the bit, except that one NaN is as good as another.
  bool operator==(const Row &other) const {
    const auto bits = [](double x) { return std::isnan(x) ? -1 : std::bit_cast<int64_t>(x); };
    return time == other.time && status == other.status && bits(value) == bits(other.value);
  }
};
using Rows = std::vector<Row>;

inline void PrintTo(const Row &row, std::ostream *out) {
  *out << '(' << row.time << ", " << row.status << ", " << row.value << ')';
}

// All ways to write samples: the first three take one point, and have one entry for it.
enum Way { kHistoryById, kHistoryByName, kCacheOne, kCache, kSnapshot, kRealtime };
constexpr Way kWays[] = {kHistoryById, kHistoryByName, kCacheOne, kCache, kSnapshot, kRealtime};

class Contract : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    REQUIRE_OR_SKIP(make_store(), GetParam() << " is not installed");
    ASSERT_NE(connection_ = connect(), nullptr);
  }
  // An empty store that nobody else uses; false if the engine is not installed here.
  bool make_store() {
    host_ = "file:" + folder_.path("store");
    if (GetParam() == "sqlite") return true;
    if (!Server::available()) return false;
    static Server server;  // for all tests, with a database for each
    host_ = server.host(), port_ = server.port();
    user_ = server.new_database(), password_ = server.password();
    return true;
  }
  Connection connect(int32_t option = 0) const {
    return {
        kelp2_init(option, host_.c_str(), port_, 30, user_.c_str(), password_.c_str(), "NULL", 0),
        kelp2_close};
  }
  ConnectionHandle c() const { return connection_.get(); }

  GroupHandle group_of(const std::vector<std::string> &names) {
    GroupHandle group = kelp2_new_group();
    for (const std::string &name : names) kelp2_add_group_point(group, name.c_str());
    kept_.emplace_back(group, kelp2_free_group);
    return group;
  }
  ObjectHandle new_object(const std::string &name, int32_t kind) {
    ObjectHandle object = kelp2_new_object(c(), name.c_str(), kind);
    kept_.emplace_back(object, kelp2_free_object);
    return object;
  }
  // An object by its full name, null if there is none.
  ObjectHandle object(const std::string &name) {
    ObjectHandle object = nullptr;
    int32_t error = 99;
    EXPECT_EQ(kelp2_get_object_byname(c(), group_of({name}), &object, &error), 0);
    kept_.emplace_back(object, kelp2_free_object);
    return object;
  }
  static std::string text(ObjectHandle object, const char *field) {
    std::string buffer(200'000, '\0');
    EXPECT_EQ(kelp2_object_get_string(object, field, buffer.data(), 200'000), 0);
    return buffer.c_str();
  }
  // The short names of the points of a node, with a stop behind each.
  std::string children(const std::string &node) {
    int32_t count = 99;
    ObjectHandle *list = nullptr;
    EXPECT_EQ(kelp2_get_child(c(), node.c_str(), &count, &list), 0);
    std::string names;
    for (int32_t i = 0; i < count; ++i) names += text(list[i], KELP2_FIELD_NAME) + ".";
    kelp2_free_list(count, list);
    return names;
  }
  Codes modify(int32_t operation, const char *parent, std::vector<ObjectHandle> objects) {
    const auto n = int32_t(objects.size());
    Codes e(n, 99);
    const int32_t done = kelp2_modify_object(c(), operation, parent, n, objects.data(), e.data());
    EXPECT_EQ(done, std::count(e.begin(), e.end(), 0));
    return e;
  }
  Ids ids_of(const std::vector<std::string> &names) {
    Ids ids(names.size(), 99);
    EXPECT_EQ(kelp2_get_id_byname(c(), group_of(names), ids.data()), 0);
    return ids;
  }
  // Inserts the node W3.N with the points P0, P1, ...; returns their ids.
  Ids make_points(int32_t count) {
    EXPECT_EQ(modify(Insert, "W3", {new_object("N", KindNode)}), kDone);
    std::vector<ObjectHandle> objects;
    std::vector<std::string> names;
    for (int32_t i = 0; i < count; ++i) {
      names.push_back("W3.N.P" + std::to_string(i));
      objects.push_back(new_object("P" + std::to_string(i), AX + i % 5));
    }
    EXPECT_EQ(modify(Insert, "W3.N", objects), Codes(count, 0));
    const Ids ids = ids_of(names);
    for (int32_t i = 0; i < count; ++i) names_[ids[i]] = names[i];
    return ids;
  }

  // Writes a row to each point in one call, or, in the ways that have one time for all, in a call
  // for each run of rows of the same time.
  Codes write(Way way, const Ids &ids, const Rows &rows) {
    Ids times;
    std::vector<int16_t> statuses;
    std::vector<double> values;
    for (const auto &[time, status, value] : rows) {
      times.push_back(time), statuses.push_back(status), values.push_back(value);
    }
    const auto n = int32_t(rows.size());
    Codes errors(way < kCache ? 1 : n, 99);
    const int32_t *i = ids.data(), *t = times.data();
    const int16_t *s = statuses.data();
    const double *v = values.data();
    int32_t *e = errors.data(), result = 0;
    const char *name = names_[*i].c_str();
    if (way == kHistoryById) result = kelp2_write_histroy_byid(c(), 0, *i, n, t, s, v, e);
    if (way == kHistoryByName) result = kelp2_write_histroy_byname(c(), 0, name, n, t, s, v, e);
    if (way == kCacheOne) result = kelp2_write_cache_one(c(), 0, *i, n, t, s, v, e);
    if (way == kCache) result = kelp2_write_cache(c(), 0, n, i, t, s, v, e);
    const auto call = way == kSnapshot ? kelp2_write_snap : kelp2_write_value;
    for (int32_t at = 0, end = 0; way > kCache && at < n; at = end) {
      while (end < n && t[end] == t[at]) ++end;
      result |= call(c(), 0, end - at, i + at, t[at], s + at, v + at, e + at);
    }
    EXPECT_EQ(result, 0);
    return errors;
  }
  // The same for rows of one point; true if none failed.
  bool wrote(Way way, int32_t id, const Rows &rows) {
    const Codes errors = write(way, Ids(rows.size(), id), rows);
    return errors == Codes(errors.size(), 0);
  }

  std::vector<Result> query(const Ids &ids, int32_t mode, int32_t begin, int32_t end,
                            int32_t step) {
    const auto n = int32_t(ids.size());
    std::vector<ResultHandle> r(n);
    Codes modes(n, mode), e(n, 99);
    const int32_t *i = ids.data(), *m = modes.data();
    EXPECT_EQ(kelp2_get_history_byid(c(), n, i, m, begin, end, step, r.data(), e.data()), 0);
    EXPECT_EQ(e, Codes(n, 0));
    std::vector<Result> results;
    for (ResultHandle handle : r) results.emplace_back(handle, kelp2_free_result);
    return results;
  }
  static Row fetch(ResultHandle result) {
    Row row;
    EXPECT_EQ(kelp2_fetch_timed_value(result, &row.time, &row.status, &row.value), 0);
    return row;
  }
  // By name, while a query goes by id.
  Rows history(int32_t id, int32_t begin = INT32_MIN, int32_t end = INT32_MAX) {
    int32_t m = HistoryTimed, e = 99;
    ResultHandle r = nullptr;
    EXPECT_EQ(kelp2_get_history_byname(c(), group_of({names_[id]}), &m, begin, end, 1, &r, &e), 0);
    const Result result(r, kelp2_free_result);
    Rows rows(kelp2_num_rows(r));
    for (Row &row : rows) row = fetch(r);
    return rows;
  }
  // What a point had at a time, or has now: by id and by name alike, nothing if there is nothing.
  std::optional<Row> value_of(int32_t id, std::optional<int32_t> at = std::nullopt) {
    Row a{at.value_or(0)}, b = a;
    GroupHandle group = group_of({names_[id]});
    int32_t e = 99, f = 98;
    EXPECT_EQ(0, at ? kelp2_get_snap_byid(c(), 1, &id, *at, &a.status, &a.value, &e)
                    : kelp2_get_value_byid(c(), 1, &id, &a.time, &a.status, &a.value, &e));
    EXPECT_EQ(0, at ? kelp2_get_snap_byname(c(), group, *at, &b.status, &b.value, &f)
                    : kelp2_get_value_byname(c(), group, &b.time, &b.status, &b.value, &f));
    EXPECT_TRUE(e == f && a == b);
    return e == 0 ? std::optional(a) : std::nullopt;
  }

  TempFolder folder_;
  std::string host_, user_, password_;
  int32_t port_ = 0;
  Connection connection_;
  std::vector<std::shared_ptr<void>> kept_;  // handles
  std::map<int32_t, std::string> names_;     // of the points, by id
};

}  // namespace kelptest
