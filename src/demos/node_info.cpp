// Static fields of the test nodes, found by name: rewritten by one demonstration, read back by the
// other.
#include "demos/demos.h"
#include "demos/static_fields.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

const StaticFields node_fields{.unit = "nodes",
                               .description = "modify:test new node static info %05d",
                               .integers = {KELP2_FIELD_FQ, KELP2_FIELD_AR},
                               .reals = {}};

FoundObjects look_up_nodes(bool display) {
  FoundObjects nodes = look_up_by_name(display, node_count(), new_node_group(), node_count());
  for (const int32_t error : nodes.errors) {
    if (error != 0) show_line(display, "get object error! error=%d", error);
  }
  return nodes;
}

std::string database(int32_t /*node*/) { return argument_.database; }

}  // namespace

void set_node_static_info_byname_demo(bool display) {
  rewrite_objects(display, look_up_nodes(display), node_fields, database,
                  "set_node_static_info_byname_demo success!");
}

void get_node_static_info_byname_demo(bool display) {
  show_objects(display, look_up_nodes(display), node_fields, nullptr,
               "get_node_static_info_byname_demo success!");
}
