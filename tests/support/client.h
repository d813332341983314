// The library's calls as tests want them: handles that release themselves, vectors in place of
// arrays, rows in place of columns.
//
// A call with an entry per point, object or row returns its entries. If the call fails as a whole,
// each of them is the call's code, and there is one at least: a failure never goes unseen. Calls
// that read give nothing (a null handle, an empty optional, no rows) where they failed.
#pragma once

#include <kelpapi2.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace kelptest {

template <auto release>
struct Releaser {
  template <typename Handle>
  void operator()(Handle *handle) const {
    release(handle);
  }
};
using Connection = std::unique_ptr<kelp2_connection, Releaser<kelp2_close>>;
using Group = std::unique_ptr<kelp2_group, Releaser<kelp2_free_group>>;
using Object = std::unique_ptr<kelp2_object, Releaser<kelp2_free_object>>;
using Result = std::unique_ptr<kelp2_result, Releaser<kelp2_free_result>>;

using Ids = std::vector<int32_t>;
using Codes = std::vector<int32_t>;
using Names = std::vector<std::string>;

// The first code that is not 0, else 0.
int32_t first_failure(const Codes &codes);

// Where to connect, as whom, and for how many seconds a call may wait.
struct Login {
  std::string hosts;
  int port = 0;
  std::string name = "tov";
  std::string password = "riverbank";
  int bound = 10;
};
Connection connect(const Login &login, int32_t option = 0);

// ---- The tree. Names are full names, but for those of new objects.

Group group_of(const Names &names);
Object new_object(const Connection &connection, const std::string &name, int32_t kind);
Object object(const Connection &connection, const std::string &name);
std::vector<Object> objects(const Connection &connection, const Ids &ids);
std::string text(const Object &object, const char *field);
// The short names of the points of a node.
Names children(const Connection &connection, const std::string &node);
Ids ids_of(const Connection &connection, const Names &names);

Codes modify(const Connection &connection, int32_t operation, const std::string &parent,
             std::vector<ObjectHandle> objects);
int32_t insert(const Connection &connection, const std::string &parent, const std::string &name,
               int32_t kind);
// Deletes parent.name.
int32_t erase(const Connection &connection, const std::string &parent, const std::string &name);
// Inserts the node W3.N with points P0, P1, ... of all kinds in turn; their ids.
Ids make_points(const Connection &connection, int count);

// ---- Values.

struct Row {
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
  // To the bit, except that one NaN is as good as another.
  bool operator==(const Row &other) const;
};
using Rows = std::vector<Row>;
std::ostream &operator<<(std::ostream &out, const Row &row);

// One row per point. The first two write all rows at the time of the first.
Codes write_value(const Connection &connection, const Ids &ids, const Rows &rows);
Codes write_snap(const Connection &connection, const Ids &ids, const Rows &rows);
Codes write_cache(const Connection &connection, const Ids &ids, const Rows &rows);
// Rows of one point, and its one entry.
int32_t write_cache_one(const Connection &connection, int32_t id, const Rows &rows);
int32_t write_history(const Connection &connection, int32_t id, const Rows &rows);
int32_t write_history_by_name(const Connection &connection, const std::string &name,
                              const Rows &rows);

// What each point has now, or had at a time.
using Readings = std::vector<std::optional<Row>>;
Readings current(const Connection &connection, const Ids &ids);
Readings current_by_name(const Connection &connection, const Names &names);
Readings snapshot(const Connection &connection, const Ids &ids, int32_t time);
Readings snapshot_by_name(const Connection &connection, const Names &names, int32_t time);

// The range of a query, and the step of its statistics.
struct Span {
  int32_t begin = INT32_MIN;
  int32_t end = INT32_MAX;
  int32_t step = 1;
};
std::vector<Result> query(const Connection &connection, const Ids &ids, HistoryMode mode,
                          const Span &span = {});
std::vector<Result> query_by_name(const Connection &connection, const Names &names,
                                  HistoryMode mode, const Span &span = {});
std::optional<Row> fetch(const Result &result);
// All rows of one point.
Rows history(const Connection &connection, int32_t id, const Span &span = {});
Rows history_by_name(const Connection &connection, const std::string &name, const Span &span = {});

}  // namespace kelptest
