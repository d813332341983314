// The tree: nodes and points of all kinds, their ids and children; what must be refused, and what
// must be gone.
#include <algorithm>

#include "checks/expect.h"
#include "checks/tree_fields.h"

namespace kelpcheck {

namespace {

std::vector<std::string> names_of(const Objects &objects) {
  std::vector<std::string> names;
  for (size_t i = 0; i < objects.size(); ++i) names.push_back(get_text(objects[i], "PN"));
  std::sort(names.begin(), names.end());
  return names;
}

// The children of a node, in any order.
void expect_children(Bed &bed, const std::string &node, Names want) {
  std::sort(want.begin(), want.end());
  const auto join = [](const Names &names) {
    std::string all;
    for (const std::string &name : names) all += (all.empty() ? "" : " ") + name;
    return text(names.size(), ": ", all.substr(0, 100));
  };
  settle_equal(bed, [&](Evidence &e) {
    const Names have = names_of(bed.session->children(node));
    e.that(
        want == have, [&] { return "points under " + node; }, join(want), join(have));
  });
}

// A node of this check's own, for the time of the check, with a point of each kind.
class Spare {
 public:
  explicit Spare(Bed &bed)
      : name(bed.full(bed.spare)), bed_(bed), node_(bed.c, 0), points_(bed.c, 0) {
    node_.add(bed.session->new_object(bed.spare, KindNode));
    set_fields(node_[0], fields_of(0, 4), true);
    expect_modified(bed, "a node inserted", bed.session->modify(Insert, database(), node_));
    for (const int32_t kind : kKinds) {
      const std::string point = std::string("KIND-") + name_of_kind(kind);
      points_.add(bed.session->new_object(point, kind));
      set_fields(points_[points_.size() - 1], fields_of(points_.size(), 5), false);
      own_names.push_back(point);
      names.push_back(name + "." + point);
    }
  }
  ~Spare() {
    try {
      Objects points = bed_.session->children(name);
      bed_.session->modify(Delete, name, points);
      Objects node = bed_.session->objects(Names{name});
      bed_.session->modify(Delete, database(), node);
    } catch (const std::exception &error) {  // the run's end removes it, and says so if it cannot
      bed_.c.evidence.that(
          false, [&] { return "clean-up of " + name; }, "removed", error.what());
    }
  }
  Spare(const Spare &) = delete;
  Spare &operator=(const Spare &) = delete;

  void insert_points() {
    expect_modified(bed_, "points inserted", bed_.session->modify(Insert, name, points_));
  }
  const std::string &database() const { return bed_.c.server.database; }

  std::string name;
  Names own_names, names;

 private:
  Bed &bed_;
  Objects node_, points_;
};

void insert(Bed &bed) {
  Spare spare(bed);
  expect_children(bed, spare.name, {});
  spare.insert_points();
  expect_children(bed, spare.name, spare.own_names);
  settle_equal(bed, [&](Evidence &e) {
    const Objects node = bed.session->objects(Names{spare.name});
    expect_fields(bed, e, node[0], fields_of(0, 4), true, spare.name);
    const Objects read = bed.session->objects(spare.names);
    for (size_t i = 0; i < read.size(); ++i) {
      e.equal(0, read.errors[i], [&] { return "entry of " + spare.names[i]; });
      if (read.errors[i] != 0) continue;
      expect_fields(bed, e, read[i], fields_of(i + 1, 5), false, spare.names[i]);
    }
  });
}

// Groups are in order, may name a point twice, and do not mix; different points have different ids.
void ids(Bed &bed) {
  Evidence &e = bed.c.evidence;
  std::vector<size_t> order = shuffled(bed.points());
  order.push_back(order[0]);
  const Group all(bed.c, std::get<Names>(bed.who(true, order)));
  for (const size_t i : some_of(bed.points())) {
    e.equal(bed.ids[i], bed.session->ids({bed.names[i]})[0],
            [&] { return "id of " + bed.names[i] + ", asked for alone"; });
  }
  const Ids found = bed.session->ids(all);
  for (size_t i = 0; i < order.size(); ++i) {
    e.equal(bed.ids[order[i]], found[i], [&] { return "id of " + bed.names[order[i]]; });
  }
  Ids sorted = bed.ids;
  std::sort(sorted.begin(), sorted.end());
  const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
  e.that(
      twice == sorted.end(), [] { return "ids of different points"; }, "all different",
      twice == sorted.end() ? "" : text(*twice, " twice"));
}

void children(Bed &bed) {
  for (const std::string &node : bed.nodes) {
    Names want;
    for (size_t i = 0; i < bed.points(); ++i) {
      if (bed.node_of(i) == node) want.push_back(own_name(bed.names[i]));
    }
    expect_children(bed, bed.full(node), want);
  }
}

// An insert of a name that is there already, alone and among new ones, and below what is not there.
void refused(Bed &bed) {
  Spare spare(bed);
  spare.insert_points();
  Evidence &e = bed.c.evidence;
  const auto expect_refused = [&](const std::string &parent, const std::string &name,
                                  int32_t kind) {
    Objects objects(bed.c, 0);
    objects.add(bed.session->new_object(name, kind));
    const Modified done = bed.session->modify(Insert, parent, objects);
    const auto where = [&] { return text("insert of ", name, " under ", parent); };
    e.that(done.count <= 0, where, "0 objects done", text(done.count));
    e.that(done.count < 0 || done.errors[0] != 0, where, "an entry other than 0", "0");
  };
  expect_refused(spare.name, spare.own_names[0], R8);
  expect_refused(spare.name, spare.own_names[0], DX);
  expect_refused(spare.database(), bed.spare, KindNode);
  expect_refused(spare.name + "NONE", "P", R8);
  expect_refused(spare.database() + "NONE", bed.spare, KindNode);
  Objects some(bed.c, 0);
  for (const std::string &name : {std::string("NEW1"), spare.own_names[1], std::string("NEW2")}) {
    some.add(bed.session->new_object(name, I4));
  }
  const Modified done = bed.session->modify(Insert, spare.name, some);
  e.equal(2, done.count, [] { return "points inserted, of three with one there already"; });
  for (size_t i = 0; i < 3; ++i) {
    e.that((done.errors[i] == 0) == (i != 1), [&] { return text("entry ", i + 1, " of these"); },
           i == 1 ? "other than 0" : "0", show(done.errors[i]));
  }
  Names want = spare.own_names;
  want.insert(want.end(), {"NEW1", "NEW2"});
  expect_children(bed, spare.name, want);
  settle_equal(bed, [&](Evidence &again) {
    const Objects first = bed.session->objects(Names{spare.names[0]});
    expect_fields(bed, again, first[0], fields_of(1, 5), false, spare.names[0]);
  });
}

// Whether points are there, each by everything that can be read of it.
void expect_there(Bed &bed, const Spare &spare, const Ids &ids, const Window &window,
                  const std::vector<bool> &there) {
  for (const Who &who : {Who(ids), Who(spare.names)}) {
    const char *how = std::holds_alternative<Ids>(who) ? "by id" : "by name";
    settle_equal(bed, [&](Evidence &e) {
      const auto expect_entries = [&](const auto &errors) {
        for (size_t i = 0; i < ids.size(); ++i) {
          e.that((errors[i] == 0) == there[i],
                 [&] { return text("entry of ", spare.names[i], ", ", how); },
                 there[i] ? "0" : "other than 0", show(errors[i]));
        }
      };
      expect_entries(bed.session->objects(who).errors);
      expect_entries(bed.session->values(who).errors);
      const History history = bed.session->history(who, window.begin, window.end + 1);
      expect_entries(history.errors);
      for (size_t i = 0; i < ids.size(); ++i) {
        if (history.errors[i] != 0) continue;
        e.that(
            history.rows(i) >= window.rows, [&] { return "rows of " + spare.names[i]; },
            text(window.rows, " or more"), show(history.rows(i)));
      }
    });
  }
}

// A point that was deleted has taken its history and its current value with it: one of its name
// that is made again begins empty. It may have the old one's id.
void expect_made_again_empty(Bed &bed, const std::string &name, const Ids &deleted,
                             const Window &window) {
  const int32_t made = bed.add_point(bed.spare, name, AX);
  wait_longest(bed);
  const Ids both{made, made == deleted[0] ? deleted[1] : deleted[0]};
  const History history = bed.session->history(both, window.begin, window.end + 1);
  Evidence &e = bed.c.evidence;
  e.that(
      history.rows(0) <= 0, [&] { return name + ", made again"; }, "no history",
      text(history.rows(0), " rows"));
  e.that(
      history.errors[1] != 0, [&] { return "entry of the old id of " + name; }, "other than 0",
      "0");
}

// Of the points under a node every other one is deleted: gone by id, by name and from the list,
// with all its values, also where they were read just before.
void deleted(Bed &bed) {
  Spare spare(bed);
  spare.insert_points();
  Evidence &e = bed.c.evidence;
  const Ids ids = bed.session->ids(spare.names);
  const Window window(bed, 0, 3);
  for (size_t i = 0; i < ids.size(); ++i) {
    bed.session->write_history(ids[i], window.columns(i, 0, window.rows));
  }
  bed.session->write_value(ids, window.end, window.across(in_order(ids.size()), 0));
  expect_there(bed, spare, ids, window, std::vector<bool>(ids.size(), true));
  Objects all = bed.session->objects(spare.names);
  ObjectHandle some[] = {all[1], all[3]};
  expect_modified(bed, "points deleted", bed.session->modify(Delete, spare.name, 2, some));
  expect_children(bed, spare.name, {spare.own_names[0], spare.own_names[2], spare.own_names[4]});
  expect_there(bed, spare, ids, window, {true, false, true, false, true});
  const Modified again = bed.session->modify(Delete, spare.name, 2, some);
  e.that(
      again.count < 0 || (again.count == 0 && again.errors[0] != 0),
      [] { return "deleting them once more"; }, "0 objects done", text(again.count));
  expect_made_again_empty(bed, spare.own_names[1], {ids[1], ids[3]}, window);
}

}  // namespace

Family tree_family() {
  std::vector<Check> checks = {
      {"tree.insert",
       "Nodes and points of all five kinds are inserted, are listed under their "
       "node and have the fields that they were given.",
       insert},
      {"tree.ids", "Every name has an id of its own, in the order of the group.", ids},
      {"tree.children", "A node lists all of its points, and no others.", children}};
  for (const Check &check : field_checks()) checks.push_back(check);
  checks.push_back({"tree.refused",
                    "A name that exists cannot be inserted again, and nothing can be inserted "
                    "under a parent that does not exist.",
                    refused});
  checks.push_back(
      {"tree.deleted", "Deleted points are gone with their values; the others stay.", deleted});
  return {"tree", Tree::made, checks};
}

}  // namespace kelpcheck
