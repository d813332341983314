// Static fields of nodes and points: changed alone and together, by id and by name, in objects that
// are copies; numbers and texts of all kinds.
#include "checks/tree_fields.h"

#include <functional>

#include "checks/expect.h"

namespace kelpcheck {

void expect_modified(Bed &bed, const char *what, const Modified &done) {
  Evidence &e = bed.c.evidence;
  e.equal(static_cast<int32_t>(done.errors.size()), done.count,
          [&] { return text("number of objects done, ", what); });
  for (size_t i = 0; i < done.errors.size(); ++i) {
    e.equal(0, done.errors[i], [&] { return text("entry ", i + 1, ", ", what); });
  }
}

namespace {

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

}  // namespace

std::vector<Check> field_checks() {
  return {
      {"tree.update.byid",
       "Fields of points that were read by id can be changed, and no others change.", update_byid,
       3},
      {"tree.update.byname", "The same for points read by name.", update_byname, 3},
      {"tree.update.nodes", "Fields of nodes can be changed, and no others change.", update_nodes},
      {"tree.contents",
       "Texts keep blanks, quotes and letters of all languages, numbers all "
       "their digits.",
       contents},
      {"tree.copies", "Fields that are set in an object reach the server only by an update.",
       copies},
      {"tree.short_buffer", "A text is cut to fit the buffer.", short_buffer}};
}

}  // namespace kelpcheck
