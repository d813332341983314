// What servers do differently and nobody promises, which is found out and shown; and what must hold
// whatever they do.
#include "checks/expect.h"
#include "checks/ground.h"

namespace kelpcheck {

namespace {

// Only kelp2_write_value, and where it is so a snapshot, set the current value.
void ways(Bed &bed) {
  Ground ground(bed);
  const int32_t now = bed.session->time() - 100;
  const size_t point = 0;
  ground.expect_current({point}, false);
  ground.history(point, {{now, 9, 1}});
  ground.cache_one(point, {{now + 1, 8, 1}});
  ground.expect_history({point}, false, now - 1, now + 1);
  wait_longest(bed);
  ground.expect_current({point}, true);
  ground.current({point}, now + 2, {{0, 7, 0}});
  ground.expect_current({point}, false);
  ground.history(point, {{now + 5, 9, 1}, {now - 5, 6, 0}});
  ground.cache({point, point}, {{now + 6, 5, 1}, {now - 6, 4, 0}});
  ground.expect_history({point}, true, now + 4, now + 6);
  wait_longest(bed);
  ground.expect_current({point}, true);
}

// A reading writes nothing into entries that failed.
void failed_readings(Bed &bed) {
  const Readings mark(1);
  const std::vector<Who> whos{Ids{bed.ids[0]}, Names{bed.names[0]}};
  for (const Who &who : whos) {
    const std::string refusal = refusal_of([&] {
      const Readings have = bed.session->values(who);
      const auto where = [&] { return "a failed entry of " + bed.names[0]; };
      if (have.errors[0] == 0) return;  // another check tells
      bed.c.evidence.equal(mark.times[0], have.times[0], where);
      bed.c.evidence.equal(mark.statuses[0], have.statuses[0], where);
      bed.c.evidence.equal(mark.values[0], have.values[0], where);
    });
  }
}

void before_first(Bed &bed) { failed_readings(bed); }

void unknown_id(Bed &bed) {
  const int32_t mark = Readings(1).errors[0];
  Answers seen;
  std::string got;
  const std::string refusal = refusal_of([&] {
    const int32_t id = bed.session->ids({bed.names[0] + "NONE"})[0];
    seen = Answer::other;
    if (id == mark) seen = Answer::left_out;
    if (id == 0) seen = Answer::zero;
    got = show(id);
  });
  if (!refusal.empty()) seen = Answer::refused;
  bed.c.read(Question::unknown_id, seen, "an unknown name", refusal.empty() ? got : refusal);
}

void unknown_children(Bed &bed) {
  int64_t children = 0;
  const std::string refusal = refusal_of([&] {
    children = static_cast<int64_t>(bed.session->children(bed.full(bed.nodes[0]) + "NONE").size());
  });
  bed.c.evidence.equal(int64_t{0}, children, [] { return "points of a node that does not exist"; });
  bed.c.read(Question::unknown_children, refusal.empty() ? Answer::none : Answer::refused,
             "a node that does not exist", refusal);
}

void delete_full_node(Bed &bed) {
  const std::string node = bed.full(bed.nodes[0]);
  Objects objects = bed.session->objects(Names{node});
  const Modified done = bed.session->modify(Delete, bed.c.server.database, objects);
  const bool deleted = done.count == 1;
  bed.c.read(Question::delete_full_node, deleted ? Answer::children_too : Answer::refused,
             "deleting " + node, text(done.count, " objects done"));
  settle_equal(bed, [&](Evidence &e) {
    bool there = false;
    refusal_of([&] { there = bed.session->objects(Names{bed.names[0]}).errors[0] == 0; });
    e.that(
        there != deleted, [] { return "points of a deleted node"; },
        deleted ? "gone" : "still there", there ? "there" : "gone");
  });
}

void tree(Bed &bed) {
  unknown_id(bed);
  unknown_children(bed);
  delete_full_node(bed);  // the last check of the family: its tree may be gone
}

}  // namespace

Family server_family() {
  return {
      "server",
      Tree::made,
      {{"server.snapshots",
        "Reading a point without a value gives a failed entry and writes nothing else.",
        before_first},
       {"server.ways",
        "A point has no current value before one is set, and neither history nor cache sets it.",
        ways},
       {"server.tree", "When a node with points is deleted, its points go with it, or both stay.",
        tree}}};
}

}  // namespace kelpcheck
