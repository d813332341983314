#include "library.h"

#include <utility>

namespace kelpcheck {

namespace {

constexpr int32_t kWaitSeconds = 30;  // what kelptest passes as init_param

// Releasing gives 0 like every operation; in a destructor that can only be noted.
template <auto Function, typename... Arguments>
void release(Context &c, Arguments... arguments) {
  const int32_t result = call<Function>(0, arguments...);
  if (result != 0) ++blackboard->figure(static_cast<int>(kOpOf<Function>)).failures;
  c.evidence.equal(0, result, [] { return text("result of ", name_of(kOpOf<Function>)); });
}

// A text in a buffer of its own, which is overwritten once the library has had it.
class Passing {
 public:
  explicit Passing(const std::string &value) : value_(value) {}
  ~Passing() { value_.assign(value_.size(), '#'); }
  const char *c_str() const { return value_.c_str(); }

 private:
  std::string value_;
};

}  // namespace

void Columns::add(const Sample &sample) {
  times.push_back(sample.time);
  statuses.push_back(sample.status);
  values.push_back(sample.value);
}

size_t size_of(const Who &points) {
  return std::visit([](const auto &list) { return list.size(); }, points);
}

Group::Group(Context &c, const Names &names)
    : c_(c), handle_(call<kelp2_new_group>(0)), size_(names.size()) {
  if (handle_ == nullptr) throw CallFailed("kelp2_new_group gave null");
  std::string buffer;
  for (const std::string &name : names) {
    buffer = name;
    checked<kelp2_add_group_point>(1, handle_, buffer.c_str());
    buffer.assign(buffer.size(), '#');
  }
}

Group::~Group() { release<kelp2_free_group>(c_, handle_); }

Objects::Objects(Context &c, int32_t count, ObjectHandle *list)
    : errors(0), c_(c), handles_(list, list + count), list_(list) {}

Objects::Objects(Objects &&other) noexcept
    : errors(std::move(other.errors)),
      c_(other.c_),
      handles_(std::exchange(other.handles_, {})),
      list_(std::exchange(other.list_, nullptr)) {}

Objects::~Objects() {
  if (list_ != nullptr) {
    release<kelp2_free_list>(c_, static_cast<int32_t>(handles_.size()), list_);
    return;
  }
  for (const ObjectHandle object : handles_) {
    if (object != nullptr) release<kelp2_free_object>(c_, object);
  }
}

void set(ObjectHandle object, const char *field, const std::string &value) {
  const Passing passing(value);
  checked<kelp2_object_set_string>(1, object, field, passing.c_str());
}

void set(ObjectHandle object, const char *field, int32_t value) {
  checked<kelp2_object_set_int>(1, object, field, value);
}

void set(ObjectHandle object, const char *field, double value) {
  checked<kelp2_object_set_double>(1, object, field, value);
}

std::string get_text(ObjectHandle object, const char *field, size_t size) {
  std::string buffer(size + 1, '#');
  checked<kelp2_object_get_string>(1, object, field, buffer.data(), static_cast<int32_t>(size));
  const size_t end = buffer.find('\0');
  if (end >= size || buffer.back() != '#') {
    throw CallFailed(text("kelp2_object_get_string wrote beyond its buffer of ", size,
                          " bytes, or no zero at its end"));
  }
  return buffer.substr(0, end);
}

int32_t get_int(ObjectHandle object, const char *field) {
  return call<kelp2_object_get_int>(1, object, field);
}

double get_double(ObjectHandle object, const char *field) {
  return call<kelp2_object_get_double>(1, object, field);
}

History::History(History &&other) noexcept
    : errors(std::move(other.errors)), c_(other.c_), results_(std::exchange(other.results_, {})) {}

History::~History() {
  for (const ResultHandle result : results_) release<kelp2_free_result>(c_, result);
}

Sample History::next(size_t i) const {
  Sample row{-1, -1, -1};
  checked<kelp2_fetch_timed_value>(1, results_[i], &row.time, &row.status, &row.value);
  return row;
}

StatValue History::next_statistics(size_t i) const {
  StatValue row{-1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  const int32_t result = call<kelp2_fetch_stat_value>(1, results_[i], &row);
  if (result == 0 || result == 1) return row;
  ++blackboard->figure(static_cast<int>(Op::fetch_stat_value)).failures;
  throw CallFailed(text("kelp2_fetch_stat_value gave ", result));
}

Session::Session(Context &c) : c_(c) {
  const Options &o = c.options;
  const Passing host(o.host), user(o.user), password(o.password), route(o.route);
  handle_ = call<kelp2_init>(0, o.option, host.c_str(), o.port, kWaitSeconds, user.c_str(),
                             password.c_str(), route.c_str(), o.size);
  if (handle_ != nullptr) return;
  ++blackboard->figure(static_cast<int>(Op::init)).failures;
  throw NoSession();
}

Session::~Session() { release<kelp2_close>(c_, handle_); }

template <typename... Outs>
void Session::guard(Op operation, const Outs &...outs) const {
  c_.evidence.that(
      !(outs.overrun() || ...), [&] { return std::string(name_of(operation)); },
      "only the entries of its arrays written", "one behind them");
}

int32_t Session::time() const {
  int32_t time = 0;
  checked<kelp2_get_system_time>(0, handle_, &time);
  return time;
}

ObjectHandle Session::new_object(const std::string &name, int32_t kind) const {
  const Passing passing(name);
  const ObjectHandle object = call<kelp2_new_object>(1, handle_, passing.c_str(), kind);
  if (object != nullptr) return object;
  ++blackboard->figure(static_cast<int>(Op::new_object)).failures;
  throw CallFailed(text("kelp2_new_object gave null for ", show(name), ", kind ", kind));
}

Objects Session::databases() const {
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  checked<kelp2_get_database>(0, handle_, &count, &list);
  blackboard->figure(static_cast<int>(Op::get_database)).rows += std::max(count, 0);
  return {c_, list == nullptr ? 0 : count, list};
}

Objects Session::children(const std::string &node) const {
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  const Passing passing(node);
  checked<kelp2_get_child>(0, handle_, passing.c_str(), &count, &list);
  blackboard->figure(static_cast<int>(Op::get_child)).rows += std::max(count, 0);
  return {c_, list == nullptr ? 0 : count, list};
}

Ids Session::ids(const Group &group) const {
  Out<int32_t> ids(group.size());
  checked<kelp2_get_id_byname>(static_cast<int64_t>(group.size()), handle_, group.handle(),
                               ids.data());
  guard(Op::get_id_byname, ids);
  return {ids.data(), ids.data() + ids.size()};
}

Modified Session::modify(ModifyOperation operation, const std::string &parent,
                         Objects &objects) const {
  return modify(operation, parent, objects.size(), objects.data());
}

Modified Session::modify(ModifyOperation operation, const std::string &parent, size_t count,
                         ObjectHandle *objects) const {
  const auto n = static_cast<int32_t>(count);
  const Passing passing(parent);
  Modified result{0, Out<int32_t>(count)};
  result.count = call<kelp2_modify_object>(n, handle_, static_cast<int32_t>(operation),
                                           passing.c_str(), n, objects, result.errors.data());
  guard(Op::modify_object, result.errors);
  return result;
}

template <auto Function, typename Time>
Out<int32_t> Session::write(const Ids &ids, Time time, const Columns &rows) const {
  const auto n = static_cast<int32_t>(ids.size());
  Out<int32_t> errors(ids.size());
  checked<Function>(n, handle_, 0, n, ids.data(), time, rows.statuses.data(), rows.values.data(),
                    errors.data());
  guard(kOpOf<Function>, errors);
  return errors;
}

template <auto Function, typename Point>
Out<int32_t> Session::write_one(Point point, const Columns &rows) const {
  Out<int32_t> error(1);
  checked<Function>(rows.size(), handle_, 0, point, rows.size(), rows.times.data(),
                    rows.statuses.data(), rows.values.data(), error.data());
  guard(kOpOf<Function>, error);
  return error;
}

Out<int32_t> Session::write_value(const Ids &ids, int32_t time, const Columns &rows) const {
  return write<kelp2_write_value>(ids, time, rows);
}

Out<int32_t> Session::write_snap(const Ids &ids, int32_t time, const Columns &rows) const {
  return write<kelp2_write_snap>(ids, time, rows);
}

Out<int32_t> Session::write_cache(const Ids &ids, const Columns &rows) const {
  return write<kelp2_write_cache>(ids, rows.times.data(), rows);
}

Out<int32_t> Session::write_cache_one(int32_t id, const Columns &rows) const {
  return write_one<kelp2_write_cache_one>(id, rows);
}

Out<int32_t> Session::write_history(int32_t id, const Columns &rows) const {
  return write_one<kelp2_write_histroy_byid>(id, rows);
}

Out<int32_t> Session::write_history(const std::string &name, const Columns &rows) const {
  const Passing passing(name);
  return write_one<kelp2_write_histroy_byname>(passing.c_str(), rows);
}

template <auto ById, auto ByName, typename... Arguments>
void Session::ask(const Who &points, Arguments... arguments) const {
  const auto n = static_cast<int32_t>(size_of(points));
  if (const Ids *ids = std::get_if<Ids>(&points)) {
    checked<ById>(n, handle_, n, ids->data(), arguments...);
  } else {
    const Group group(c_, std::get<Names>(points));
    checked<ByName>(n, handle_, group.handle(), arguments...);
  }
}

Objects Session::objects(const Who &points) const {
  Objects objects(c_, size_of(points));
  ask<kelp2_get_object_byid, kelp2_get_object_byname>(points, objects.data(),
                                                      objects.errors.data());
  guard(Op::get_object_byid, objects.errors);
  return objects;
}

Readings Session::values(const Who &points) const {
  Readings r(size_of(points));
  ask<kelp2_get_value_byid, kelp2_get_value_byname>(points, r.times.data(), r.statuses.data(),
                                                    r.values.data(), r.errors.data());
  guard(Op::get_value_byid, r.times, r.statuses, r.values, r.errors);
  return r;
}

Readings Session::snap(const Who &points, int32_t time) const {
  Readings r(size_of(points));
  ask<kelp2_get_snap_byid, kelp2_get_snap_byname>(points, time, r.statuses.data(), r.values.data(),
                                                  r.errors.data());
  guard(Op::get_snap_byid, r.statuses, r.values, r.errors);
  return r;
}

History Session::history(const Who &points, const std::vector<int32_t> &modes, int32_t begin,
                         int32_t end, int32_t interval) const {
  History h(c_, size_of(points));
  ask<kelp2_get_history_byid, kelp2_get_history_byname>(points, modes.data(), begin, end, interval,
                                                        h.data(), h.errors.data());
  guard(Op::get_history_byid, h.errors);
  return h;
}

History Session::history(const Who &points, int32_t begin, int32_t end) const {
  constexpr int32_t interval = 10;
  return history(points, std::vector<int32_t>(size_of(points), HistoryTimed), begin, end, interval);
}

}  // namespace kelpcheck
