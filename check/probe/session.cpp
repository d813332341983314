#include "probe/session.h"

#include <algorithm>
#include <tuple>
#include <type_traits>

namespace kelpcheck {

namespace {

// Not more than that is refused for other reasons than the number.
constexpr int64_t kFewRows = 256;
constexpr int64_t kFewNames = 16;

// How many seconds the library may wait, so that it gives up before the call is taken for hung; as
// many as kelptest passes where nothing is asked for.
int32_t init_parameter(double timeout) {
  constexpr double least = 1, most = 30, margin = 2;
  return static_cast<int32_t>(std::clamp(timeout - margin, least, most));
}

}  // namespace

Session::Session(Context &c) : c_(c) {
  const ServerOptions &o = c.server;
  const Passing host(o.host), user(o.user), password(o.password), route(o.route);
  handle_ = c_.calls.call<kelp2_init>(0, o.option, host.c_str(), o.port, init_parameter(o.timeout),
                                      user.c_str(), password.c_str(), route.c_str(), o.size);
  if (handle_ != nullptr) return;
  c_.calls.count_failure(Op::init);
  throw NoSession();
}

Session::~Session() { release<kelp2_close>(c_, handle_); }

template <typename... Outs>
void Session::guard(Op operation, const Outs &...outs) const {
  c_.evidence.that(
      !(outs.overrun() || ...), [&] { return std::string(name_of(operation)); },
      "only the entries of its arrays written", "one after them");
}

int32_t Session::time() const {
  int32_t time = 0;
  c_.calls.checked<kelp2_get_system_time>(0, handle_, &time);
  return time;
}

ObjectHandle Session::new_object(const std::string &name, int32_t kind) const {
  const Passing passing(name);
  const ObjectHandle object = c_.calls.call<kelp2_new_object>(1, handle_, passing.c_str(), kind);
  if (object != nullptr) return object;
  c_.calls.count_failure(Op::new_object);
  throw CallFailed(text("kelp2_new_object gave null for ", show(name), ", kind ", kind));
}

Objects Session::databases() const {
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  c_.calls.checked<kelp2_get_database>(0, handle_, &count, &list);
  c_.calls.count_rows(Op::get_database, std::max(count, 0));
  return {c_, list == nullptr ? 0 : count, list};
}

Objects Session::children(const std::string &node) const {
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  const Passing passing(node);
  c_.calls.checked<kelp2_get_child>(0, handle_, passing.c_str(), &count, &list);
  c_.calls.count_rows(Op::get_child, std::max(count, 0));
  return {c_, list == nullptr ? 0 : count, list};
}

Ids Session::ids(const Group &group) const {
  Out<int32_t> ids(group.size());
  c_.calls.checked<kelp2_get_id_byname>(static_cast<int64_t>(group.size()), handle_, group.handle(),
                                        ids.data());
  guard(Op::get_id_byname, ids);
  return {ids.data(), ids.data() + ids.size()};
}

Ids Session::ids(const Names &names) const {
  Ids all;
  in_pieces(&Limits::names, names.size(), kFewNames, [&](size_t first, int32_t n) {
    const Ids some = ids(Group(c_, {names.begin() + first, names.begin() + first + n}));
    all.resize(first);  // a piece may be tried again
    all.insert(all.end(), some.begin(), some.end());
    return true;
  });
  return all;
}

Modified Session::modify(ModifyOperation operation, const std::string &parent,
                         Objects &objects) const {
  return modify(operation, parent, objects.size(), objects.data());
}

template <typename Call>
void Session::in_pieces(int64_t Limits::*limit, size_t count, int64_t surely, Call call) const {
  const auto all = static_cast<int64_t>(count);
  const auto taken = [&](int64_t first, int64_t size) {
    try {
      return call(static_cast<size_t>(first), static_cast<int32_t>(size));
    } catch (const CallFailed &) {
      if (size <= surely) throw;
      return false;
    }
  };
  int64_t first = 0;
  do {
    const int64_t most = c_.limits.*limit > 0 ? c_.limits.*limit : all;
    const int64_t whole = std::min(most, all - first);
    int64_t size = whole;
    bool done = taken(first, size);
    while (!done && size > surely) {
      size = (size + 1) / 2;
      done = taken(first, size);
    }
    if (!done) return;  // not for its number
    if (size < whole) {
      const bool refused = !taken(first, whole);
      c_.evidence.that(
          refused, [&] { return text("a call with ", whole, " entries"); }, "refused, as before",
          "taken");
      c_.limits.*limit = size;
    }
    first += size;
  } while (first < all);
}

Modified Session::modify(ModifyOperation operation, const std::string &parent, size_t count,
                         ObjectHandle *objects) const {
  const Passing passing(parent);
  Modified result{0, Out<int32_t>(count)};
  in_pieces(&Limits::objects, count, kFewNames, [&](size_t first, int32_t n) {
    const int32_t done = c_.calls.call<kelp2_modify_object>(
        n, handle_, static_cast<int32_t>(operation), passing.c_str(), n, objects + first,
        result.errors.data() + first);
    const bool taken = done >= 0;
    if (taken) result.count += done;
    if (!taken && n <= kFewNames && result.count == 0) result.count = done;
    return taken;
  });
  guard(Op::modify_object, result.errors);
  return result;
}

template <auto Function, typename Time>
Out<int32_t> Session::write(const Ids &ids, Time time, const Columns &rows) const {
  Out<int32_t> errors(ids.size());
  in_pieces(&Limits::rows, ids.size(), kFewRows, [&](size_t first, int32_t n) {
    Time from = time;
    if constexpr (std::is_pointer_v<Time>) from += first;
    c_.calls.checked<Function>(n, handle_, 0, n, ids.data() + first, from,
                               rows.statuses.data() + first, rows.values.data() + first,
                               errors.data() + first);
    return true;
  });
  guard(kOpOf<Function>, errors);
  return errors;
}

template <auto Function, typename Point>
Out<int32_t> Session::write_one(Point point, const Columns &rows) const {
  Out<int32_t> error(1);
  in_pieces(&Limits::rows, rows.times.size(), kFewRows, [&](size_t first, int32_t n) {
    c_.calls.checked<Function>(n, handle_, 0, point, n, rows.times.data() + first,
                               rows.statuses.data() + first, rows.values.data() + first,
                               error.data());
    return error[0] == 0;
  });
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

// `arguments` gives the rest of the call's, from an entry on.
template <auto ById, auto ByName, typename Arguments>
void Session::ask(const Who &points, Arguments arguments) const {
  in_pieces(&Limits::names, size_of(points), kFewNames, [&](size_t first, int32_t n) {
    std::apply(
        [&](auto... rest) {
          if (const Ids *ids = std::get_if<Ids>(&points)) {
            c_.calls.checked<ById>(n, handle_, n, ids->data() + first, rest...);
          } else {
            const Names &names = std::get<Names>(points);
            const Group group(c_, {names.begin() + first, names.begin() + first + n});
            c_.calls.checked<ByName>(n, handle_, group.handle(), rest...);
          }
        },
        arguments(first));
    return true;
  });
}

Objects Session::objects(const Who &points) const {
  Objects objects(c_, size_of(points));
  ask<kelp2_get_object_byid, kelp2_get_object_byname>(points, [&](size_t first) {
    return std::tuple(objects.data() + first, objects.errors.data() + first);
  });
  guard(Op::get_object_byid, objects.errors);
  return objects;
}

Readings Session::values(const Who &points) const {
  Readings r(size_of(points));
  ask<kelp2_get_value_byid, kelp2_get_value_byname>(points, [&](size_t first) {
    return std::tuple(r.times.data() + first, r.statuses.data() + first, r.values.data() + first,
                      r.errors.data() + first);
  });
  guard(Op::get_value_byid, r.times, r.statuses, r.values, r.errors);
  return r;
}

Readings Session::snap(const Who &points, int32_t time) const {
  Readings r(size_of(points));
  ask<kelp2_get_snap_byid, kelp2_get_snap_byname>(points, [&](size_t first) {
    return std::tuple(time, r.statuses.data() + first, r.values.data() + first,
                      r.errors.data() + first);
  });
  guard(Op::get_snap_byid, r.statuses, r.values, r.errors);
  return r;
}

History Session::history(const Who &points, const std::vector<int32_t> &modes, int32_t begin,
                         int32_t end, int32_t interval) const {
  History h(c_, size_of(points));
  ask<kelp2_get_history_byid, kelp2_get_history_byname>(points, [&](size_t first) {
    return std::tuple(modes.data() + first, begin, end, interval, h.data() + first,
                      h.errors.data() + first);
  });
  guard(Op::get_history_byid, h.errors);
  return h;
}

History Session::history(const Who &points, int32_t begin, int32_t end) const {
  constexpr int32_t interval = 10;
  return history(points, std::vector<int32_t>(size_of(points), HistoryTimed), begin, end, interval);
}

}  // namespace kelpcheck
