// The library as tests call it: handles that release themselves, vectors in place of arrays, rows
// in place of columns.
//
// A call with an entry per point, object or row returns its entries. If it fails as a whole, each
// of them is the call's code, and there is one at least: a failure never goes unseen. A reading
// that failed gives nothing (a null handle, an empty optional, no rows).
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
  void operator()(auto *handle) const { release(handle); }
};
using Group = std::unique_ptr<kelp2_group, Releaser<kelp2_free_group>>;
using Object = std::unique_ptr<kelp2_object, Releaser<kelp2_free_object>>;
using Result = std::unique_ptr<kelp2_result, Releaser<kelp2_free_result>>;

using Ids = std::vector<int32_t>;
using Codes = std::vector<int32_t>;
using Names = std::vector<std::string>;

// The first code that is not 0, else 0.
int32_t first_failure(const Codes &codes);

struct Row {
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
  bool operator==(const Row &other) const;  // to the bit, but one NaN is as good as another
};
using Rows = std::vector<Row>;
std::ostream &operator<<(std::ostream &out, const Row &row);

// What each of some points has now, or had at a time.
using Readings = std::vector<std::optional<Row>>;

// The range of a query, and the step of its statistics.
struct Span {
  int32_t begin = INT32_MIN;
  int32_t end = INT32_MAX;
  int32_t step = 1;
};

// Where to connect, as whom, and for how many seconds a call may wait.
struct Login {
  std::string hosts;
  int port = 0;
  std::string name = "tov";
  std::string password = "riverbank";
  int bound = 10;
};

Group group_of(const Names &names);
std::string text(const Object &object, const char *field);
std::optional<Row> fetch(const Result &result);

// A session. Names are full names, except those of new objects.
class Connection {
 public:
  Connection() = default;  // no session: all calls fail
  explicit Connection(const Login &login, int32_t option = 0);
  ConnectionHandle handle() const { return handle_.get(); }
  bool open() const { return handle_ != nullptr; }
  void close() { handle_.reset(); }
  int32_t status() const { return kelp2_status(handle()); }

  // The tree.
  Object new_object(const std::string &name, int32_t kind) const;
  Object object(const std::string &name) const;
  std::vector<Object> objects(const Ids &ids) const;
  Names children(const std::string &node) const;  // short names
  Ids ids_of(const Names &names) const;
  Codes modify(int32_t operation, const std::string &parent,
               std::vector<ObjectHandle> objects) const;
  // One object, by its short name.
  int32_t insert(const std::string &parent, const std::string &name, int32_t kind) const;
  int32_t erase(const std::string &parent, const std::string &name) const;
  // Inserts the node W3.N with points P0, P1, ... of all kinds in turn; their ids.
  Ids make_points(int count) const;

  // A row per point; the first two make a call for each run of rows of the same time.
  Codes write_value(const Ids &ids, const Rows &rows) const;
  Codes write_snap(const Ids &ids, const Rows &rows) const;
  Codes write_cache(const Ids &ids, const Rows &rows) const;
  // Rows of one point, and its one entry.
  int32_t write_cache_one(int32_t id, const Rows &rows) const;
  int32_t write_history(int32_t id, const Rows &rows) const;

  Readings current(const Ids &ids) const;
  Readings snapshot(const Ids &ids, int32_t time) const;
  std::vector<Result> query(const Ids &ids, HistoryMode mode, const Span &span = {}) const;
  Rows history(int32_t id, const Span &span = {}) const;

 private:
  std::unique_ptr<kelp2_connection, Releaser<kelp2_close>> handle_;
};

}  // namespace kelptest
