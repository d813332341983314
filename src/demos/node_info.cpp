// Static fields of the test nodes, found by name: rewritten by one demonstration, read back by the
// other.
#include <array>
#include <vector>

#include "demos/demos.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

struct Nodes {
  GroupHandle group;
  std::vector<ObjectHandle> objects;
  std::vector<int32_t> errors;
};

Nodes look_up_nodes(bool display) {
  Nodes nodes{new_node_group(), std::vector<ObjectHandle>(node_count()),
              std::vector<int32_t>(node_count())};
  const int32_t result = kelp2_get_object_byname(argument_.handle, nodes.group,
                                                 nodes.objects.data(), nodes.errors.data());
  if (result != 0) fail(display, "kelp2_get_object_byname  error! ret= %d", result);
  for (const int32_t error : nodes.errors) {
    if (error != 0) show_line(display, "get object error! error=%d", error);
  }
  return nodes;
}

void set_fields(ObjectHandle object, int32_t node) {
  const std::string description = numbered_text("modify:test new node static info %05d", node);
  kelp2_object_set_string(object, KELP2_FIELD_DESCRIPTION, description.c_str());
  kelp2_object_set_int(object, KELP2_FIELD_FQ, node);
  kelp2_object_set_int(object, KELP2_FIELD_AR, node);
}

void show_fields(bool display, ObjectHandle object) {
  std::array<char, 256> description{};
  kelp2_object_get_string(object, KELP2_FIELD_DESCRIPTION, description.data(), description.size());
  const int32_t fq = kelp2_object_get_int(object, KELP2_FIELD_FQ);
  const int32_t ar = kelp2_object_get_int(object, KELP2_FIELD_AR);
  show_line(display, "ED:%s", description.data());
  show_line(display, "FQ:%d", fq);
  show_line(display, "AR:%d", ar);
  display_result(display, "-----------------");
}

}  // namespace

void set_node_static_info_byname_demo(bool display) {
  Nodes nodes = look_up_nodes(display);
  for (int32_t j = 0; j < node_count(); ++j) {
    set_fields(nodes.objects[j], j + 1);
    // The entry still holds what the lookup left; only both signs together are a failure.
    const int32_t updated =
        kelp2_modify_object(argument_.handle, Update, argument_.database.c_str(), 1,
                            &nodes.objects[j], &nodes.errors[j]);
    if (updated != 1 && nodes.errors[j] != 0) fail(display, "kelp2_modify_object error!");
    kelp2_free_object(nodes.objects[j]);
  }
  display_result(true, "set_node_static_info_byname_demo success!");
  kelp2_free_group(nodes.group);
}

void get_node_static_info_byname_demo(bool display) {
  const Nodes nodes = look_up_nodes(display);
  for (ObjectHandle object : nodes.objects) show_fields(display, object);
  for (ObjectHandle object : nodes.objects) kelp2_free_object(object);
  display_result(true, "get_node_static_info_byname_demo success!");
  kelp2_free_group(nodes.group);
}
