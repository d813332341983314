// The begin and the end of a run: only nodes under the prefix are touched, and of them nothing
// stays. Nodes cannot be listed, so they are looked up by their names, PREFIX01, PREFIX02, ...,
// until a hundred in a row are missing. They are removed from the last to the first, so that what a
// removal that was cut short has left is found again.
#include "checks/expect.h"

namespace kelpcheck {

namespace {

constexpr int32_t kProbed = 100;  // names of a look-up

Names nodes_there(Bed &bed) {
  Names found;
  for (int32_t first = 1;; first += kProbed) {
    Names names;
    for (int32_t i = first; i < first + kProbed; ++i) names.push_back(bed.node_name(i));
    const Objects objects = bed.session->objects(names);
    const size_t before = found.size();
    for (size_t i = 0; i < names.size(); ++i) {
      if (objects.errors[i] == 0) found.push_back(names[i]);
    }
    if (found.size() == before) return found;
  }
}

void remove_node(Bed &bed, const std::string &node) {
  constexpr size_t most = 1000;  // points of a call
  {
    Objects points = bed.session->children(node);
    for (size_t i = 0; i < points.size(); i += most) {
      bed.session->modify(Delete, node, std::min(most, points.size() - i), points.data() + i);
    }
  }
  Objects nodes = bed.session->objects(Names{node});
  bed.session->modify(Delete, bed.c.server.database, nodes);
}

// What is there is removed, whatever becomes of the single steps; what counts is what is left.
void remove_all(Bed &bed) {
  const Names nodes = nodes_there(bed);
  std::string problem;
  for (size_t i = nodes.size(); i-- > 0;) {
    try {
      remove_node(bed, nodes[i]);
    } catch (const CallFailed &failure) {
      problem = text(" (", failure.what(), ")");
    }
    bed.c.progress(static_cast<int64_t>(nodes.size() - i), static_cast<int64_t>(nodes.size()));
  }
  const Names left = nodes_there(bed);
  bed.c.evidence.that(
      left.empty(), [] { return std::string("nodes left on the server"); }, "none",
      left.empty() ? "" : text(left.size(), ", such as ", left[0], problem));
}

}  // namespace

Family open_family() {
  return {"run",
          Tree::none,
          {{"run.open",
            "A session can be opened, and nothing of an earlier run stays under the "
            "prefix.",
            remove_all}}};
}

Family cleanup_family() {
  return {"run",
          Tree::none,
          {{"run.cleanup", "Everything that the run made is removed again.", remove_all, 8}}};
}

}  // namespace kelpcheck
