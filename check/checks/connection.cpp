// Sessions: several at a time, one after the other, in one process and in the next one; and calls
// for things that do not exist.
#include <algorithm>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

void status(Bed &bed) {
  Evidence &e = bed.c.evidence;
  e.equal(0, bed.session->status(), [] { return "status of a session that works"; });
  const int32_t of_null = bed.c.calls.call<kelp2_status>(0, ConnectionHandle{});
  e.that(
      of_null != 0, [] { return "status of no session"; }, "other than 0", "0");
}

void databases(Bed &bed) {
  Evidence &e = bed.c.evidence;
  const Objects databases = bed.session->databases();
  Names names;
  for (size_t i = 0; i < databases.size(); ++i) {
    names.push_back(get_text(databases[i], KELP2_FIELD_NAME));
  }
  const auto count = std::count(names.begin(), names.end(), bed.c.server.database);
  e.equal(int64_t{1}, int64_t{count}, [&] { return bed.c.server.database + " in the list"; });
  for (const std::string &name : names) {
    e.that(
        !name.empty(), [] { return "name of a database"; }, "a text", "an empty one");
  }
  bed.c.finding("Databases", text(names.size()));
}

// Through the bed's session: history, current values, changed fields and a new point.
void write_all(Bed &bed, const Window &window, int32_t time, int32_t version) {
  const auto order = shuffled(bed.points());
  write_history(bed, false, window, some_of(bed.points()));
  expect_done(bed, Op::write_value,
              bed.session->write_value(std::get<Ids>(bed.who(false, order)), time,
                                       window.across(order, 0)));
  const std::string &node = bed.node_of(0);
  Objects objects = bed.session->objects(Ids{bed.ids[0]});
  set_fields(objects[0], fields_of(0, version), false);
  const Modified done = bed.session->modify(Update, bed.full(node), objects);
  bed.c.evidence.equal(1, done.count, [] { return "objects updated"; });
}

void expect_all(Bed &bed, const Window &window, int32_t time, int32_t version) {
  const auto order = in_order(bed.points());
  expect_history(bed, true, window, some_of(bed.points()));
  expect_readings(bed, [&] { return bed.session->values(bed.who(true, order)); }, order,
                  {window, 0, time, true});
  settle_equal(bed, [&](Evidence &e) {
    const Objects objects = bed.session->objects(Names{bed.names[0]});
    expect_fields(bed, e, objects[0], fields_of(0, version), false, bed.names[0]);
    const Ids ids = bed.session->ids(bed.names);
    for (size_t i = 0; i < ids.size(); ++i) {
      e.equal(bed.ids[i], ids[i], [&] { return "id of " + bed.names[i]; });
    }
  });
}

// That a look-up finds none of them; one that finds nothing at all may fail as a whole.
void expect_gone(Bed &bed, const Who &points) {
  settle_equal(bed, [&](Evidence &e) {
    try {
      const Objects gone = bed.session->objects(points);
      for (size_t i = 0; i < gone.size(); ++i) {
        e.that(
            gone.errors[i] != 0, [] { return std::string("a deleted point"); },
            "an entry other than 0", "0");
      }
    } catch (const CallFailed &) {
      ++e.compared;
    }
  });
}

// Either session sees at once what the other one has written.
void second_session(Bed &bed) {
  auto other = bed.required_session();
  const Window window(bed, 1, kFew), answer(bed, 2, kFew);
  write_all(bed, window, window.end + 5, 1);
  const int32_t id = bed.add_point(bed.nodes[0], "SEEN", I4);
  std::swap(bed.session, other);
  expect_all(bed, window, window.end + 5, 1);
  const std::string name = bed.full(bed.nodes[0]) + ".SEEN";
  settle_equal(bed, [&](Evidence &e) {
    e.equal(id, bed.session->ids({name})[0], [&] { return "id of " + name; });
  });
  write_all(bed, answer, answer.end + 5, 2);
  Objects point = bed.session->objects(Names{name});
  bed.session->modify(Delete, bed.full(bed.nodes[0]), point);
  std::swap(bed.session, other);
  expect_all(bed, answer, answer.end + 5, 2);
  expect_gone(bed, Names{name});
  bed.c.evidence.equal(0, other->status(), [] { return "status of the older session"; });
}

constexpr int kKeptSlot = 0;  // what the next process finds
constexpr int32_t kKeptVersion = 3;

void reopen(Bed &bed) {
  const Window window(bed, kKeptSlot, kFew);
  write_all(bed, window, window.end + 100'000'000, kKeptVersion);
  bed.session.reset();
  bed.session = std::make_unique<Session>(bed.c);
  expect_all(bed, window, window.end + 100'000'000, kKeptVersion);
}

void next_process(Bed &bed) {
  const Window window(bed, kKeptSlot, kFew);
  expect_all(bed, window, window.end + 100'000'000, kKeptVersion);
}

// A point that is not there, with one that is on each side of it.
void unknown(Bed &bed) {
  const int32_t gone = bed.add_point(bed.nodes[0], "GONE", R8);
  Objects points = bed.session->objects(Ids{gone});
  bed.session->modify(Delete, bed.full(bed.nodes[0]), points);
  const Window window(bed, 3, 3);
  write_history(bed, false, window, {0, bed.points() - 1});
  expect_gone(bed, Ids{gone});  // nobody's, or this check must not write to it
  if (bed.c.evidence.differences > 0) return;
  const std::vector<size_t> order{0, 0, bed.points() - 1};
  Columns rows = window.across(order, 0);
  const int32_t time = window.begin + 5;
  Ids ids = std::get<Ids>(bed.who(false, order));
  Names names = std::get<Names>(bed.who(true, order));
  ids[1] = gone;
  names[1] += "NONE";
  const auto expect = [&](Evidence &e, const std::string &operation, const Out<int32_t> &errors) {
    for (size_t i = 0; i < 3; ++i) {
      const auto where = [&] { return text("entry ", i + 1, " of 3 of ", operation); };
      const std::string want = i == 1 ? "other than 0 for an unknown point" : "0";
      e.that((errors[i] == 0) == (i != 1), where, want, show(errors[i]));
    }
  };
  Evidence &evidence = bed.c.evidence;
  expect(evidence, "kelp2_write_snap", bed.session->write_snap(ids, time, rows));
  expect(evidence, "kelp2_write_value", bed.session->write_value(ids, time + 1, rows));
  expect(evidence, "kelp2_write_cache", bed.session->write_cache(ids, rows));
  // Those beside it have been done.
  const std::vector<size_t> beside{0, bed.points() - 1};
  expect_readings(bed, [&] { return bed.session->snap(bed.who(true, beside), time); }, beside,
                  {window, 0, time, false});
  expect_readings(bed, [&] { return bed.session->values(bed.who(true, beside)); }, beside,
                  {window, 0, time + 1, true});
  for (const Who &who : {Who(ids), Who(names)}) {
    const std::string by = std::holds_alternative<Ids>(who) ? "_byid" : "_byname";
    settle_equal(bed, [&](Evidence &e) {
      expect(e, "kelp2_get_value" + by, bed.session->values(who).errors);
      expect(e, "kelp2_get_snap" + by, bed.session->snap(who, time).errors);
      expect(e, "kelp2_get_object" + by, bed.session->objects(who).errors);
      expect(e, "kelp2_get_history" + by,
             bed.session->history(who, window.begin, window.end).errors);
    });
  }
  // Writes to one point may fail as a whole or in their entry.
  const auto refused = [&](const char *operation, auto &&write) {
    std::string got = "success";
    try {
      const Out<int32_t> error = write();
      if (error[0] != 0) got = "";
    } catch (const CallFailed &) {
      got = "";
    }
    bed.c.evidence.that(
        got.empty(), [&] { return text(operation, " to an unknown point"); }, "a failure", got);
  };
  refused("kelp2_write_histroy_byid", [&] { return bed.session->write_history(gone, rows); });
  refused("kelp2_write_histroy_byname", [&] { return bed.session->write_history(names[1], rows); });
  refused("kelp2_write_cache_one", [&] { return bed.session->write_cache_one(gone, rows); });
  bed.c.evidence.equal(0, bed.session->status(), [] { return "status after all that"; });
}

}  // namespace

Family connection_family() {
  return {
      "connection",
      Tree::made,
      {{"connection.status", "A working session has status 0, and null has another status.",
        status},
       {"connection.databases", "The database is listed, once.", databases},
       {"connection.second_session", "Two sessions at the same time see what the other one wrote.",
        second_session, 4},
       {"connection.unknown",
        "In every operation, an unknown point among others has an entry that says so; the others "
        "are done.",
        unknown},
       {"connection.reopen",
        "Everything is still there after closing the session and connecting again.", reopen, 3}}};
}

Family restart_family() {
  return {
      "restart",
      Tree::found,
      {{"restart.next_process", "A process finds what the one before it wrote.", next_process, 2}},
      "connection.reopen"};
}

}  // namespace kelpcheck
