// Removes the test nodes and whatever lies under them, found by the nodes' names alone, so that the
// remains of an earlier run go too: the points of one node per call, then all nodes in one call.
#include <vector>

#include "demos/demos.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"

namespace {

void delete_points_of(bool display, const std::string &node) {
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  const int32_t result = kelp2_get_child(argument_.handle, node.c_str(), &count, &list);
  if (result != 0) fail(display, "while delete point , kelp2_get_child error! ret= %d", result);
  if (count <= 0) return;

  std::vector<int32_t> errors(count);
  const int32_t deleted =
      kelp2_modify_object(argument_.handle, Delete, node.c_str(), count, list, errors.data());
  if (deleted != count) fail(display, "delete point error!");
  for (const int32_t error : errors) {
    if (error == 0) continue;
    show_line(display, "delete point error, it's parent's name = %s", node.c_str());
  }
  kelp2_free_list(count, list);
}

void delete_nodes(bool display, GroupHandle group) {
  const int32_t count = node_count();
  std::vector<ObjectHandle> nodes(count);
  std::vector<int32_t> errors(count);
  const int32_t result =
      kelp2_get_object_byname(argument_.handle, group, nodes.data(), errors.data());
  if (result != 0) {
    fail(display, "while delete node, kelp2_get_object_byname  error! ret= %d", result);
  }
  for (const int32_t error : errors) {
    if (error != 0) display_result(display, "get object error!");
  }

  const int32_t deleted = kelp2_modify_object(argument_.handle, Delete, argument_.database.c_str(),
                                              count, nodes.data(), errors.data());
  if (deleted != count) display_result(display, "delete all node error!");
  for (const int32_t error : errors) {
    if (error != 0) display_result(display, "delete node error!");
  }
  for (ObjectHandle node : nodes) kelp2_free_object(node);
}

}  // namespace

void delete_point_node_demo(bool display) {
  GroupHandle group = kelp2_new_group();
  for (int32_t j = 0; j < node_count(); ++j) {
    show_progress(j, node_count(), "nodes");
    const std::string node = node_full_name(j + 1);
    kelp2_add_group_point(group, node.c_str());
    delete_points_of(display, node);
  }
  delete_nodes(display, group);
  display_result(display, "delete_point_node_demo success!");
  kelp2_free_group(group);
}
