// The tree: nodes and points of all kinds, their ids, children and static fields; what must be
// refused, and what must be gone.
#include <algorithm>
#include <functional>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

void expect_modified(Bed &bed, const char *what, const Modified &done) {
  Evidence &e = bed.c.evidence;
  e.equal(static_cast<int32_t>(done.errors.size()), done.count,
          [&] { return text("number of objects done, ", what); });
  for (size_t i = 0; i < done.errors.size(); ++i) {
    e.equal(0, done.errors[i], [&] { return text("entry ", i + 1, ", ", what); });
  }
}

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

void expect_points(Bed &bed, bool by_name, const std::vector<size_t> &order,
                   const std::function<Fields(size_t)> &want) {
  settle_equal(bed, [&](Evidence &e) {
    const Objects objects = bed.session->objects(bed.who(by_name, order));
    for (size_t i = 0; i < order.size(); ++i) {
      const std::string &name = bed.names[order[i]];
      if (!e.equal(0, objects.errors[i], [&] { return "entry of " + name; })) continue;
      expect_fields(bed, e, objects[i], want(order[i]), false, name);
    }
  });
}

void expect_nodes(Bed &bed, const std::function<Fields(size_t)> &want) {
  Names names;
  for (const std::string &node : bed.nodes) names.push_back(bed.full(node));
  settle_equal(bed, [&](Evidence &e) {
    const Objects objects = bed.session->objects(names);
    for (size_t i = 0; i < names.size(); ++i) {
      if (!e.equal(0, objects.errors[i], [&] { return "entry of " + names[i]; })) continue;
      expect_fields(bed, e, objects[i], want(i), true, names[i]);
    }
  });
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

// In turn a point keeps its fields, or has one of three changed, or all of them.
Fields changed(size_t number, int32_t from, int32_t to) {
  Fields f = fields_of(number, from);
  const Fields fresh = fields_of(number, to);
  if (number % 5 == 1 || number % 5 == 4) f.ed = fresh.ed;
  if (number % 5 == 2 || number % 5 == 4) f.iv = fresh.iv;
  if (number % 5 == 3 || number % 5 == 4) f.hw = fresh.hw;
  return f;
}

void set_changed(Object object, size_t number, int32_t to) {
  const Fields f = fields_of(number, to);
  if (number % 5 == 1 || number % 5 == 4) set(object, KELP2_FIELD_DESCRIPTION, f.ed);
  if (number % 5 == 2 || number % 5 == 4) set_if_taken(object, KELP2_FIELD_IV, f.iv);
  if (number % 5 == 3 || number % 5 == 4) set_if_taken(object, KELP2_FIELD_HW, f.hw);
}

// Calls with the points of one node each: the first ones one at a time, from slots of a larger
// array, the others many at once.
void update(Bed &bed, Objects &objects) {
  constexpr size_t alone = 3, together = 500;
  size_t count = 0;
  for (size_t i = 0; i < objects.size(); i += count) {
    const std::string &node = bed.node_of(i);
    const size_t most = i < alone ? 1 : together;
    for (count = 1; count < most && i + count < objects.size(); ++count) {
      if (bed.node_of(i + count) != node) break;
    }
    expect_modified(bed, "points updated",
                    bed.session->modify(Update, bed.full(node), count, objects.data() + i));
  }
}

// All fields of all points to a version, so that a check knows what there is before it.
void reset(Bed &bed, int32_t version) {
  Objects objects = bed.session->objects(bed.ids);
  for (size_t i = 0; i < objects.size(); ++i) set_fields(objects[i], fields_of(i, version), false);
  update(bed, objects);
}

void update_points(Bed &bed, bool by_name) {
  const int32_t from = by_name ? 20 : 10, to = from + 1;
  reset(bed, from);
  Objects objects = bed.session->objects(bed.who(by_name, in_order(bed.points())));
  for (size_t i = 0; i < bed.points(); ++i) set_changed(objects[i], i, to);
  update(bed, objects);
  const auto want = [&](size_t i) { return changed(i, from, to); };
  expect_points(bed, !by_name, shuffled(bed.points()), want);
  expect_points(bed, by_name, in_order(bed.points()), want);
}

void update_byid(Bed &bed) { update_points(bed, false); }
void update_byname(Bed &bed) { update_points(bed, true); }

void update_nodes(Bed &bed) {
  Names names;
  for (const std::string &node : bed.nodes) names.push_back(bed.full(node));
  Objects objects = bed.session->objects(names);
  for (size_t i = 0; i < names.size(); ++i) {
    set_fields(objects[i], fields_of(i, 30), true);
    expect_modified(bed, "a node updated",
                    bed.session->modify(Update, bed.c.server.database, 1, objects.data() + i));
  }
  expect_nodes(bed, [](size_t i) { return fields_of(i, 30); });
  set_if_taken(objects[0], KELP2_FIELD_AR, 4711);  // one field alone
  expect_modified(bed, "a node updated",
                  bed.session->modify(Update, bed.c.server.database, 1, objects.data()));
  expect_nodes(bed, [](size_t i) {
    Fields f = fields_of(i, 30);
    if (i == 0) f.ar = 4711;
    return f;
  });
}

// Numbers at the ends of their types, and texts that something on the way may take for its own.
void contents(Bed &bed) {
  const char *const texts[] = {"two words,  and  more ",
                               "'single' \"double\" `back`",
                               "50 % \\ / ; -- $1 {x} <&>",
                               "",
                               "\u00e4\u00f6\u00fc \u00df \u20ac",
                               "\u6d77\u85fb \U0001f33f",
                               "0"};
  const int32_t numbers[] = {0, 1, -1, INT32_MAX, INT32_MIN, 255, 65536};
  const double reals[] = {0, 0.1, -1.0 / 3, 1e300, -1e-300, 123456789.0123456789, 9007199254740991};
  for (size_t i = 0; i < std::size(texts); ++i) {
    const Fields want{texts[i], numbers[i], numbers[i], numbers[i], reals[i]};
    const std::string point = bed.names[0], node = bed.full(bed.nodes[0]);
    for (const auto &[name, parent] : {std::pair{point, node}, {node, bed.c.server.database}}) {
      Objects objects = bed.session->objects(Names{name});
      set_fields(objects[0], want, name == node);
      expect_modified(bed, "an object updated", bed.session->modify(Update, parent, objects));
      settle_equal(bed, [&](Evidence &e) {
        const Objects read = bed.session->objects(Names{name});
        expect_fields(bed, e, read[0], want, name == node, name);
      });
    }
  }
}

void short_buffer(Bed &bed) {
  const std::string full = "a text of thirty-six characters, yes";
  Objects objects = bed.session->objects(Ids{bed.ids[0]});
  set(objects[0], KELP2_FIELD_DESCRIPTION, full);
  bed.session->modify(Update, bed.full(bed.node_of(0)), objects);
  settle_equal(bed, [&](Evidence &e) {
    const Objects read = bed.session->objects(Ids{bed.ids[0]});
    for (const size_t size : {1, 2, 7, 36, 37, 38, 256}) {
      e.equal(full.substr(0, size - 1), get_text(read[0], "ED", size),
              [&] { return text("ED in a buffer of ", size, " bytes"); });
    }
    const std::string name = own_name(bed.names[0]);
    e.equal(name.substr(0, 3), get_text(read[0], "PN", 4),
            [] { return "PN in a buffer of 4 bytes"; });
  });
}

// An object is a copy: what is set in it is there, but on the server only after an update.
void copies(Bed &bed) {
  const Objects one = bed.session->objects(Ids{bed.ids[0]}), two = bed.session->objects(bed.names);
  Fields want = fields_of(0, 50);
  want.ed = get_text(two[0], "ED");
  want.iv = get_double(two[0], "IV");
  want.hw = get_int(two[0], "HW");
  set_fields(one[0], fields_of(0, 51), false);
  Evidence &e = bed.c.evidence;
  expect_fields(bed, e, one[0], fields_of(0, 51), false, bed.names[0]);
  expect_fields(bed, e, two[0], want, false, bed.names[0]);
  const Objects read = bed.session->objects(Ids{bed.ids[0]});
  expect_fields(bed, e, read[0], want, false, bed.names[0]);
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

// Of the points under a node every other one is deleted: gone by id, by name and from the list,
// with all its values, also when a point of the same name is made again.
void deleted(Bed &bed) {
  Spare spare(bed);
  spare.insert_points();
  Evidence &e = bed.c.evidence;
  const Ids ids = bed.session->ids(spare.names);
  const Window window(bed, 0, 3);
  const int32_t time = window.end;
  for (size_t i = 0; i < ids.size(); ++i) {
    bed.session->write_history(ids[i], window.columns(i, 0, 3));
  }
  bed.session->write_value(ids, time, window.across(in_order(ids.size()), 0));
  Objects all = bed.session->objects(spare.names);
  ObjectHandle some[] = {all[1], all[3]};
  expect_modified(bed, "points deleted", bed.session->modify(Delete, spare.name, 2, some));
  expect_children(bed, spare.name, {spare.own_names[0], spare.own_names[2], spare.own_names[4]});
  const auto expect_there = [&](Evidence &look, const char *how, const auto &errors) {
    for (size_t i = 0; i < ids.size(); ++i) {
      const bool there = i != 1 && i != 3;
      look.that((errors[i] == 0) == there,
                [&] { return text("entry of ", spare.names[i], ", ", how); },
                there ? "0" : "other than 0", show(errors[i]));
    }
  };
  for (const Who &who : {Who(ids), Who(spare.names)}) {
    const char *how = std::holds_alternative<Ids>(who) ? "by id" : "by name";
    settle_equal(bed, [&](Evidence &look) {
      expect_there(look, how, bed.session->objects(who).errors);
      expect_there(look, how, bed.session->values(who).errors);
      const History history = bed.session->history(who, window.begin, window.end + 1);
      expect_there(look, how, history.errors);
      for (size_t i = 0; i < ids.size(); ++i) {
        if (history.errors[i] != 0) continue;
        look.that(
            history.rows(i) >= 3, [&] { return "rows of " + spare.names[i]; }, "3 or more",
            show(history.rows(i)));
      }
    });
  }
  const Modified again = bed.session->modify(Delete, spare.name, 2, some);
  e.that(
      again.count < 0 || (again.count == 0 && again.errors[0] != 0),
      [] { return "deleting them once more"; }, "0 objects done", text(again.count));
  const int32_t made = bed.add_point(bed.spare, spare.own_names[1], AX);
  // Its history and current value went with the old one; an id may have become the new one's.
  wait_longest(bed);
  const Ids both{made, made == ids[1] ? ids[3] : ids[1]};
  const History history = bed.session->history(both, window.begin, window.end + 1);
  e.that(
      history.rows(0) <= 0, [&] { return spare.names[1] + ", made again"; }, "no history",
      text(history.rows(0), " rows"));
  e.that(
      history.errors[1] != 0, [&] { return "entry of the old id of " + spare.names[1]; },
      "other than 0", "0");
}

}  // namespace

Family tree_family() {
  return {
      "tree",
      Tree::made,
      {{"tree.insert",
        "Nodes and points of all five kinds are inserted, are listed under their "
        "node and have the fields that they were given.",
        insert},
       {"tree.ids", "Every name has an id of its own, in the order of the group.", ids},
       {"tree.children", "A node lists its points, all of them and no others.", children},
       {"tree.update.byid", "Fields of points read by id are changed, those and no others.",
        update_byid, 3},
       {"tree.update.byname", "The same for points read by name.", update_byname, 3},
       {"tree.update.nodes", "Fields of nodes are changed, those and no others.", update_nodes},
       {"tree.contents",
        "Texts keep blanks, quotes and letters of all languages, numbers all "
        "their digits.",
        contents},
       {"tree.copies", "Fields set in an object reach the server by an update only.", copies},
       {"tree.short_buffer", "A text is cut to fit the buffer.", short_buffer},
       {"tree.refused",
        "A name that exists is not inserted again, nor anything under a parent "
        "that does not exist.",
        refused},
       {"tree.deleted", "Deleted points are gone with their values; the others stay.", deleted}}};
}

}  // namespace kelpcheck
