#include "probe/prefix.h"

#include <algorithm>

namespace kelpcheck {

namespace {

constexpr int32_t kProbed = 100;        // names of a look-up
constexpr size_t kMostNodes = 100'000;  // that runs may have left

}  // namespace

std::string Prefix::full_name(int32_t number) const {
  return c_.server.database + "." + own_name(number);
}

// Which of the names [first, last) there are. A call that is refused is made again for either half:
// a server may take fewer names, or refuse a call in which every name is unknown.
void Prefix::find(const Names &names, size_t first, size_t last, std::vector<bool> &there) const {
  try {
    const Objects objects = session_.objects(Names(names.begin() + first, names.begin() + last));
    for (size_t i = first; i < last; ++i) there[i] = objects.errors[i - first] == 0;
  } catch (const CallFailed &) {
    if (session_.status() != 0) throw;
    if (last - first == 1) return;
    const size_t middle = (first + last) / 2;
    find(names, first, middle, there);
    find(names, middle, last, there);
  }
}

Names Prefix::nodes_from(int32_t first, int32_t last) const {
  Names found;
  for (bool any = true; any || first <= last; first += kProbed) {
    Names names;
    for (int32_t i = first; i < first + kProbed; ++i) names.push_back(full_name(i));
    std::vector<bool> there(names.size());
    find(names, 0, names.size(), there);
    const size_t before = found.size();
    for (size_t i = 0; i < names.size(); ++i) {
      if (there[i]) found.push_back(names[i]);
    }
    any = found.size() > before;
    if (found.size() > kMostNodes) {
      throw CallFailed(text("more than ", kMostNodes, " nodes, the last one ", found.back()));
    }
  }
  return found;
}

void Prefix::remove(const std::string &node) const {
  {
    Objects points = session_.children(node);
    for (size_t i = 0; i < points.size(); i += kObjectsPerCall) {
      const size_t count = std::min(kObjectsPerCall, points.size() - i);
      session_.modify(Delete, node, count, points.data() + i);
    }
  }
  Objects nodes = session_.objects(Names{node});
  session_.modify(Delete, c_.server.database, nodes);
}

std::string Prefix::remove(const Names &nodes,
                           const std::function<void(size_t, size_t)> &progress) const {
  std::string problem;
  for (size_t i = nodes.size(); i-- > 0;) {
    try {
      remove(nodes[i]);
    } catch (const CallFailed &failure) {
      problem = failure.what();
    }
    progress(nodes.size() - i, nodes.size());
  }
  return problem;
}

}  // namespace kelpcheck
