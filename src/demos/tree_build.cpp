// Builds the test tree, one node and one point per call, and finds the ids of its points. A node
// that cannot be inserted is taken for the remains of an earlier run: the tree is torn down and
// built again, until it is complete or the tear-down fails.
#include <array>

#include "demos/demos.h"
#include "demos/static_fields.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"

namespace {

const StaticFields new_node_fields{.unit = "nodes",
                                   .description = "init:test node static info %05d",
                                   .integers = {KELP2_FIELD_FQ, KELP2_FIELD_AR},
                                   .reals = {KELP2_FIELD_IV}};

struct Insertion {
  int32_t result = 0;
  int32_t error = 0;
  bool done() const { return result == 1 && error == 0; }
};

// Inserts one new object and releases it. A null object counts as a failed insertion.
Insertion insert(ObjectHandle object, const std::string &parent) {
  Insertion insertion;
  if (object == nullptr) return insertion;
  insertion.result =
      kelp2_modify_object(argument_.handle, Insert, parent.c_str(), 1, &object, &insertion.error);
  kelp2_free_object(object);
  return insertion;
}

ObjectHandle new_node(bool display, int32_t node) {
  ObjectHandle object = kelp2_new_object(argument_.handle, node_short_name(node).c_str(), KindNode);
  if (object == nullptr) {
    display_result(display, "creat node object error");
    return object;
  }
  set_static_fields(object, new_node_fields, node);
  return object;
}

bool insert_nodes(bool display) {
  for (int32_t j = 0; j < node_count(); ++j) {
    show_progress(j, node_count(), "nodes");
    if (!insert(new_node(display, j + 1), argument_.database).done()) return false;
  }
  return true;
}

void insert_point(bool display, int32_t point) {
  ObjectHandle object =
      kelp2_new_object(argument_.handle, point_short_name(point).c_str(), argument_.point_type);
  if (object == nullptr) display_result(display, "creat point object error");

  const Insertion insertion = insert(object, parent_name(point));
  if (!insertion.done()) {
    fail(display, "insert point error! ret = %d, error = %d", insertion.result, insertion.error);
  }
  argument_.point_names.push_back(point_full_name(point));
}

}  // namespace

void insert_node_point_demo(bool display) {
  while (!insert_nodes(display)) {
    display_result(display, "insert node error!");
    delete_point_node_demo(true);
    display = true;
  }
  display_result(display, "insert node success!");
  for (int32_t j = 0; j < point_count(); ++j) {
    show_progress(j, point_count(), "points");
    insert_point(display, j + 1);
  }
  display_result(display, "insert point success!");
}

void get_id_byname_demo(bool display) {
  GroupHandle group = new_point_group();
  argument_.point_ids.resize(argument_.point_names.size());
  const int32_t result = kelp2_get_id_byname(argument_.handle, group, argument_.point_ids.data());
  kelp2_free_group(group);
  if (result != 0) fail(display, "kelp2_get_id_byname error! ret = %d", result);

  for (const int32_t id : argument_.point_ids) {
    std::array<char, 7> text{};
    display_result(display, itoa(id, text.data()));
  }
  display_result(true, "kelp2_get_id_byname success!");
}
