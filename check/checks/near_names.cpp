#include "checks/near_names.h"

#include "checks/ground.h"

namespace kelpcheck {

namespace {

// What stands in the entry of an unknown name is the server's, but not the id of a point.
void expect_no_id(Bed &bed, const Names &wrong) {
  Names asked = wrong;
  asked.push_back(bed.names[0]);
  Ids found;
  if (!refusal_of([&] { found = bed.session->ids(asked); }).empty()) return;
  for (size_t i = 0; i < wrong.size(); ++i) {
    bed.c.evidence.that(
        found[i] != bed.ids[0], [&] { return "id of " + show(wrong[i]); },
        "not that of " + bed.names[0], show(found[i]));
  }
}

// Nodes whose names are near to one that is there have no points.
void expect_no_children(Bed &bed) {
  const std::string node = bed.full(bed.nodes[0]);
  for (const std::string &name :
       {node + "0", node + "_", node + "_0", node + "%", node + "*", node + ".", node + ".X",
        node + " 0", bed.nodes[0], "X" + node, node.substr(0, node.size() - 1) + "_"}) {
    size_t points = 0;
    const std::string refusal = refusal_of([&] { points = bed.session->children(name).size(); });
    bed.c.evidence.that(
        points == 0, [&] { return "points under " + show(name); }, "none", text(points));
  }
}

}  // namespace

void near_names(Bed &bed) {
  const std::string &full = bed.names[0];
  const std::string node = bed.full(bed.nodes[0]), own = own_name(full);
  const std::string &database = bed.c.server.database;
  const Names wrong{full + "0",
                    full.substr(0, full.size() - 1),
                    " " + full,
                    full + " ",
                    full + ".",
                    full + ".P",
                    "." + full,
                    bed.nodes[0] + "." + own,
                    own,
                    database + "." + own,
                    database + "X." + bed.nodes[0] + "." + own,
                    "X" + database + "." + bed.nodes[0] + "." + own,
                    "." + bed.nodes[0] + "." + own,
                    database + ".." + own,
                    database + "." + bed.nodes[0] + "0." + own,
                    node + ".%",
                    node + "._____",
                    node + ".*",
                    ""};
  const auto absent = [&](Evidence &e, const char *operation, const auto &errors) {
    for (size_t i = 0; i < wrong.size(); ++i) {
      e.that(
          errors[i] != 0, [&] { return text(operation, " of ", show(wrong[i])); },
          "an entry other than 0", "0");
    }
    e.equal(0, errors[wrong.size()], [&] { return text(operation, " of ", full); });
  };
  Names asked = wrong;
  asked.push_back(full);
  Ground ground(bed);
  const int32_t now = bed.session->time() - 100;
  ground.current({0}, now, {{0, 1, 1.5}});
  ground.history(0, {{bed.c.begin, 2, 2.5}});
  ground.snapshot({0}, now + 1, {{0, 1, 1.5}});
  const Sample row{bed.c.begin + 5, 3, 3.5};
  Columns rows;
  rows.add(row);
  for (const std::string &name : wrong) {
    if (name.ends_with(" ") || name.starts_with(" ")) continue;
    int32_t error = -1;
    refusal_of([&] { error = bed.session->write_history(name, rows)[0]; });
    bed.c.evidence.that(
        error != 0, [&] { return "history written to " + show(name); }, "an entry other than 0",
        "0");
  }
  ground.expect_everything(0);
  settle_equal(bed, [&](Evidence &e) {
    absent(e, "object", bed.session->objects(asked).errors);
    absent(e, "value", bed.session->values(asked).errors);
    absent(e, "snapshot", bed.session->snap(asked, now + 1).errors);
    absent(e, "history", bed.session->history(asked, bed.c.begin - 10, bed.c.begin + 10).errors);
  });
  expect_no_id(bed, wrong);
  expect_no_children(bed);
}

}  // namespace kelpcheck
