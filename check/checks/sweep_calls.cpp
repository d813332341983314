// Calls with different numbers of entries and with repeated ones: none, one, the same twice,
// unknown ones between known ones; values that are overwritten; and what another session sees of
// all that.
#include <algorithm>

#include "checks/expect.h"
#include "checks/ground.h"

namespace kelpcheck {

namespace {

constexpr int32_t kNobodysId = INT32_MAX - 1000;

// What a call without entries gives: 0, whatever pointers it has.
void expect_success(Bed &bed, int32_t result, const char *operation, bool null) {
  bed.c.evidence.equal(0, result, [&] {
    return text(operation, " without entries, ", null ? "null arrays" : "arrays");
  });
}

void no_entries(Bed &bed) {
  const Calls &calls = bed.c.calls;
  const ConnectionHandle session = bed.session->handle();
  const int32_t now = bed.session->time();
  Ground ground(bed);
  ground.history(0, {{bed.c.begin, 1, 1.5}});
  ground.current({0}, now - 100, {{0, 2, 2.5}});
  ground.expect_everything(0);
  for (const bool null : {true, false}) {
    int32_t ids[1] = {bed.ids[0]}, times[1] = {now}, errors[1] = {0}, modes[1] = {0};
    int16_t statuses[1] = {9};
    double values[1] = {9};
    ObjectHandle objects[1] = {};
    ResultHandle results[1] = {};
    const auto or_null = [&](auto *array) { return null ? nullptr : array; };
    const auto expect = [&](int32_t result, const char *operation) {
      expect_success(bed, result, operation, null);
    };
    int32_t *const i = or_null(ids), *const t = or_null(times), *const e = or_null(errors);
    int16_t *const s = or_null(statuses);
    double *const v = or_null(values);
    expect(calls.call<kelp2_write_value>(0, session, 0, 0, i, now, s, v, e), "kelp2_write_value");
    expect(calls.call<kelp2_write_snap>(0, session, 0, 0, i, now, s, v, e), "kelp2_write_snap");
    expect(calls.call<kelp2_write_cache>(0, session, 0, 0, i, t, s, v, e), "kelp2_write_cache");
    expect(calls.call<kelp2_get_value_byid>(0, session, 0, i, t, s, v, e), "kelp2_get_value_byid");
    expect(calls.call<kelp2_get_snap_byid>(0, session, 0, i, now, s, v, e), "kelp2_get_snap_byid");
    expect(calls.call<kelp2_get_object_byid>(0, session, 0, i, or_null(objects), e),
           "kelp2_get_object_byid");
    expect(calls.call<kelp2_get_history_byid>(0, session, 0, i, or_null(modes), 0, now, 10,
                                              or_null(results), e),
           "kelp2_get_history_byid");
    const Group group(bed.c, {});
    const GroupHandle none = group.handle();
    expect(calls.call<kelp2_get_id_byname>(0, session, none, i), "kelp2_get_id_byname");
    expect(calls.call<kelp2_get_value_byname>(0, session, none, t, s, v, e),
           "kelp2_get_value_byname");
    expect(calls.call<kelp2_get_snap_byname>(0, session, none, now, s, v, e),
           "kelp2_get_snap_byname");
    expect(calls.call<kelp2_get_object_byname>(0, session, none, or_null(objects), e),
           "kelp2_get_object_byname");
    expect(calls.call<kelp2_get_history_byname>(0, session, none, or_null(modes), 0, now, 10,
                                                or_null(results), e),
           "kelp2_get_history_byname");
    const std::string node = bed.full(bed.nodes[0]);
    for (const int32_t operation : {Update, Insert, Delete}) {
      expect(calls.call<kelp2_modify_object>(0, session, operation, node.c_str(), 0,
                                             or_null(objects), e),
             "kelp2_modify_object");
    }
  }
  ground.expect_everything(0);
  ground.expect_current({0}, true);
}

// Null handles: releasing them does nothing, any other use fails or gives 0.
void null_handles(Bed &bed) {
  const Calls &calls = bed.c.calls;
  Evidence &e = bed.c.evidence;
  calls.call<kelp2_free_group>(0, GroupHandle{});
  calls.call<kelp2_free_object>(0, ObjectHandle{});
  calls.call<kelp2_free_result>(0, ResultHandle{});
  calls.call<kelp2_free_list>(0, 0, static_cast<ObjectHandle *>(nullptr));
  calls.call<kelp2_close>(0, ConnectionHandle{});
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
  const auto fails = [&](int32_t result, const char *operation) {
    e.that(
        result != 0, [&] { return text(operation, " of null"); }, "a failure", "0");
  };
  e.that(
      calls.call<kelp2_num_rows>(0, ResultHandle{}) <= 0, [] { return "rows of null"; },
      "0 or less", "more");
  e.equal(0, calls.call<kelp2_object_get_int>(0, ObjectHandle{}, "FQ"),
          [] { return "FQ of null"; });
  e.equal(0.0, calls.call<kelp2_object_get_double>(0, ObjectHandle{}, "IV"),
          [] { return "IV of null"; });
  fails(calls.call<kelp2_status>(0, ConnectionHandle{}), "kelp2_status");
  fails(calls.call<kelp2_get_system_time>(0, ConnectionHandle{}, &time), "kelp2_get_system_time");
  fails(calls.call<kelp2_fetch_timed_value>(0, ResultHandle{}, &time, &status, &value),
        "kelp2_fetch_timed_value");
  StatValue row{};
  const int32_t fetched = calls.call<kelp2_fetch_stat_value>(0, ResultHandle{}, &row);
  e.that(
      fetched != 0 && fetched != 1, [] { return "kelp2_fetch_stat_value of null"; }, "a failure",
      show(fetched));
  int32_t id = bed.ids[0], error = 0;
  fails(calls.call<kelp2_write_value>(1, ConnectionHandle{}, 0, 1, &id, 1, &status, &value, &error),
        "kelp2_write_value");
  fails(calls.call<kelp2_get_value_byid>(1, ConnectionHandle{}, 1, &id, &time, &status, &value,
                                         &error),
        "kelp2_get_value_byid");
  e.equal(0, bed.session->status(), [] { return "status after all that"; });
}

// A point twice in a reading, and unknown ones between known ones in every place.
void repeated(Bed &bed) {
  Ground ground(bed);
  const int32_t now = bed.session->time() - 200, past = bed.c.begin;
  const std::vector<size_t> all{5, 10, 15};
  for (const size_t point : all) {
    ground.history(point, {{past, 1, double(point)}, {past + 10, 2, -double(point)}});
    ground.current({point}, now, {{0, 3, double(point) / 2}});
    ground.snapshot({point}, now, {{0, 3, double(point) / 2}});
  }
  const std::vector<std::vector<size_t>> orders{
      {5}, {5, 5}, {5, 10, 5}, {15, 15, 15, 5}, {10, 5, 15, 10, 5, 15}, {15, 5, 5, 10}};
  for (const std::vector<size_t> &order : orders) {
    for (const bool by_name : {false, true}) {
      ground.expect_history(order, by_name, past - 1000, past + 1000);
      ground.expect_current(order, by_name);
      settle_equal(bed, [&](Evidence &e) {
        const Readings have = bed.session->snap(bed.who(by_name, order), now);
        const Objects objects = bed.session->objects(bed.who(by_name, order));
        const Ids ids = bed.session->ids(std::get<Names>(bed.who(true, order)));
        for (size_t i = 0; i < order.size(); ++i) {
          const std::string &name = bed.names[order[i]];
          e.equal(double(order[i]) / 2, have.values[i], [&] { return "snapshot of " + name; });
          e.equal(own_name(name), get_text(objects[i], "PN"), [&] { return "PN of " + name; });
          e.equal(bed.ids[order[i]], ids[i], [&] { return "id of " + name; });
        }
      });
    }
  }
}

// Unknown entries first, in the middle, last, and several of them; by ids in reads only.
void unknown_between(Bed &bed) {
  Ground ground(bed);
  const int32_t now = bed.session->time() - 200, past = bed.c.begin;
  const size_t known = 20;
  ground.history(known, {{past, 1, 4.5}});
  ground.current({known}, now, {{0, 3, 8.5}});
  ground.snapshot({known}, now, {{0, 3, 8.5}});
  const char *const patterns[] = {"?k", "k?", "k?k", "?k?", "??kk", "k??k", "kk??", "?k?k?k?"};
  for (const std::string pattern : patterns) {
    Names names;
    Ids ids;
    for (size_t i = 0; i < pattern.size(); ++i) {
      const bool there = pattern[i] == 'k';
      names.push_back(there ? bed.names[known] : text(bed.names[known], "NONE", i));
      ids.push_back(there ? bed.ids[known] : kNobodysId - static_cast<int32_t>(i));
    }
    for (const Who &who : {Who(names), Who(ids)}) {
      settle_equal(bed, [&](Evidence &e) {
        const Readings values = bed.session->values(who), snap = bed.session->snap(who, now);
        const Objects objects = bed.session->objects(who);
        const History history = bed.session->history(who, past - 10, past + 10);
        for (size_t i = 0; i < pattern.size(); ++i) {
          const bool there = pattern[i] == 'k';
          const auto where = [&] { return text("entry ", i + 1, " of ", pattern); };
          for (const int32_t error :
               {values.errors[i], snap.errors[i], objects.errors[i], history.errors[i]}) {
            e.that((error == 0) == there, where, there ? "0" : "other than 0", show(error));
          }
          if (!there) {
            e.that(history.rows(i) <= 0, where, "no rows", show(history.rows(i)));
            continue;
          }
          e.equal(8.5, values.values[i], where);
          e.equal(8.5, snap.values[i], where);
          e.equal(1, history.rows(i), where);
        }
      });
    }
  }
}

// Three times over, in every way and by every path, read before and after, here and in a second
// session that has read it before.
void overwrite_thrice(Bed &bed) {
  Ground ground(bed);
  auto other = bed.another_session();
  const int32_t past = bed.c.begin, now = bed.session->time() - 3000;
  const size_t point = 25;
  const auto look = [&](int32_t time) {
    for (int session = 0; session < (other ? 2 : 1); ++session) {
      for (const bool by_name : {false, true}) {
        ground.expect_history({point}, by_name, past - 1000, past + 1000);
        ground.expect_history({point}, by_name, time - 1, time + 1);
        ground.expect_current({point}, by_name);
      }
      if (other) std::swap(bed.session, other);
    }
  };
  look(past);
  const int rounds = bed.c.habits.longest_wait > 0.2 ? 2 : 4;
  for (int round = 0; round < rounds; ++round) {
    const auto status = static_cast<int16_t>(round * 100 - 50);
    const double value = round * 1.5;
    std::vector<Sample> rows;
    for (int i = 0; i < 20; ++i) rows.push_back({past + i * 10, status, value + i});
    ground.history(point, rows, round % 2 == 1);
    look(past);
    ground.snapshot({point}, past + 500, {{0, status, value}});
    look(past + 500);
    ground.current({point}, now + round * 10, {{0, status, value}});
    look(now);
    ground.cache_one(point, {{past + 700, status, value}});
    ground.cache({point}, {{past + 800, status, value}});
    look(past + 800);
    if (other) std::swap(bed.session, other);  // written by turns
  }
}

// What one session reads as a snapshot it does not keep for itself.
void sessions(Bed &bed) {
  auto other = bed.required_session();
  const size_t point = 30;
  const int32_t now = bed.session->time() - 500;
  Ground ground(bed);
  for (int round = 0; round < 3; ++round) {
    const int32_t time = now + round * 10;
    const double value = 3.5 * (round + 1);
    ground.snapshot({point}, time, {{0, 1, value}});
    Objects objects = bed.session->objects(Names{bed.names[point]});
    set(objects[0], "ED", text("round ", round));
    bed.session->modify(Update, bed.full(bed.nodes[0]), objects);
    for (Session *session : {bed.session.get(), other.get()}) {
      for (const bool by_name : {false, true}) {
        settle_equal(bed, [&](Evidence &e) {
          const Who who = bed.who(by_name, {point});
          const Readings have = session->snap(who, time);
          e.equal(0, have.errors[0], [] { return "snapshot"; });
          e.equal(value, have.values[0], [] { return "snapshot"; });
          const Objects read = session->objects(who);
          e.equal(text("round ", round), get_text(read[0], "ED"), [] { return "ED"; });
        });
      }
    }
    std::swap(bed.session, other);
  }
  bed.c.evidence.equal(0, other->status(), [] { return "status of the first session"; });
}

// Older sessions stay usable, whatever happens to others.
void many_sessions(Bed &bed) {
  std::vector<std::unique_ptr<Session>> all;
  all.push_back(bed.required_session());
  try {
    while (all.size() < 5) all.push_back(std::make_unique<Session>(bed.c));
  } catch (const NoSession &) {
    // it has a limit
  }
  for (const size_t closed : {size_t{2}, size_t{0}, size_t{2}}) {
    if (closed >= all.size()) continue;
    all.erase(all.begin() + static_cast<ptrdiff_t>(closed));
    for (const auto &session : all) {
      bed.c.evidence.equal(0, session->status(), [] { return "status of an older session"; });
      const Objects read = session->objects(Ids{bed.ids[0]});
      bed.c.evidence.equal(0, read.errors[0], [] { return "look-up by an older session"; });
    }
  }
}

}  // namespace

Family sweep_calls_family() {
  return {"sweep",
          Tree::few,
          {{"sweep.no_entries",
            "A call without entries succeeds, with null arrays, and does nothing.", no_entries},
           {"sweep.null", "A null handle does no harm: every use of it fails or gives 0.",
            null_handles},
           {"sweep.repeated", "A point may occur more than once in a call.", repeated},
           {"sweep.unknown",
            "Known points are read correctly wherever there are unknown points among them.",
            unknown_between},
           {"sweep.overwrite",
            "Every reader sees the same after values are overwritten, however often and in "
            "whatever way.",
            overwrite_thrice},
           {"sweep.sessions", "A session that has read a value sees what another one writes later.",
            sessions},
           {"sweep.many_sessions", "Closing a session leaves the others usable.", many_sessions}}};
}

}  // namespace kelpcheck
