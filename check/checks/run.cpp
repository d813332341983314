// The beginning and the end of a run: it works where it was told to and where nobody else works,
// touches only nodes under the prefix, and leaves none of them behind.
#include <algorithm>

#include "checks/expect.h"
#include "probe/claim.h"

namespace kelpcheck {

namespace {

// A server need not list its databases.
void require_database(Bed &bed) {
  Names names;
  try {
    const Objects databases = bed.session->databases();
    for (size_t i = 0; i < databases.size(); ++i) {
      names.push_back(get_text(databases[i], KELP2_FIELD_NAME));
    }
  } catch (const CallFailed &) {
    return;
  }
  const std::string &wanted = bed.c.server.database;
  if (names.empty() || std::count(names.begin(), names.end(), wanted) > 0) return;
  std::string list;
  for (const std::string &name : names) append_item(list, name);
  throw Refused(text("there is no database ", wanted, " on this server (-D); it has ", list));
}

// What is left is found by looking names up until some are missing: a server that has every name
// would be asked for ever.
void require_missing_names(Bed &bed) {
  const std::string name = text(bed.c.server.database, ".", bed.c.server.prefix, "-", now_ns());
  try {
    const int32_t error = bed.session->objects(Names{name}).errors[0];
    const auto where = [&] { return text("entry of ", name, ", which nobody made"); };
    if (bed.c.evidence.that(error != 0, where, "other than 0", show(error))) return;
  } catch (const CallFailed &) {
    return;  // it was asked for alone: so it is not there
  }
  throw std::runtime_error("what an earlier run left cannot be found where every name is there");
}

// Those that an earlier run may have left, or this one made.
Names nodes_there(Bed &bed) {
  const auto holder = holder_of(claim_field(bed.c, *bed.session).value_or(""));
  return Prefix(bed.c, *bed.session).nodes_from(0, holder ? holder->last_node : 0);
}

// Whatever becomes of the single steps: what counts is what is left.
void remove_all(Bed &bed, const Names &nodes) {
  const Prefix prefix(bed.c, *bed.session);
  const std::string problem = prefix.remove(
      nodes, [&](size_t done, size_t all) { bed.c.progress(done, all, Unit::nodes); });
  const Names left = nodes_there(bed);
  std::string what_is_left;
  if (!left.empty()) what_is_left = text(left.size(), ", such as ", left[0]);
  if (!problem.empty()) what_is_left += " (" + problem + ")";
  bed.c.evidence.that(
      left.empty(), [] { return std::string("nodes left on the server"); }, "none", what_is_left);
}

void open(Bed &bed) {
  require_database(bed);
  require_missing_names(bed);
  require_no_watch(bed.c, *bed.session, Prefix(bed.c, *bed.session).full_name(0));
  require_free(bed.c, *bed.session);
  const Names nodes = nodes_there(bed);
  if (!nodes.empty()) require_no_watch(bed.c, *bed.session, nodes.back());
  remove_all(bed, nodes);
  take_claim(bed.c, *bed.session, bed.c.holder());
  bed.c.claimed();
}

void clean_up(Bed &bed) { remove_all(bed, nodes_there(bed)); }

}  // namespace

Family open_family() {
  return {
      "run",
      Tree::none,
      {{"run.open",
        "A session can be opened, and nothing of an earlier run is left under the prefix.", open}}};
}

Family cleanup_family() {
  return {"run",
          Tree::none,
          {{"run.cleanup", "Everything that the run made is removed.", clean_up, 8}}};
}

}  // namespace kelpcheck
