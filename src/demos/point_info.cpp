// Static fields of the test points: two demonstrations rewrite them and two read them back, one of
// each pair finding the points by id and one by name.
#include "demos/demos.h"
#include "demos/point_lines.h"
#include "demos/static_fields.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

const StaticFields point_fields{.unit = "points",
                                .description = "test static info %05d",
                                .integers = {KELP2_FIELD_HW},
                                .reals = {KELP2_FIELD_IV}};

constexpr const char *refused = "id = %d, get object error! error=%d";

FoundObjects look_up_by_id(bool display) {
  const std::vector<int32_t> ids = test_point_ids();
  FoundObjects points{point_count(), nullptr, std::vector<ObjectHandle>(ids.size()),
                      std::vector<int32_t>(ids.size())};
  const int32_t result = kelp2_get_object_byid(argument_.handle, point_count(), ids.data(),
                                               points.handles.data(), points.errors.data());
  if (result != 0) fail(display, "kelp2_get_object_byid  error! ret= %d", result);
  show_refused_points(display, points.errors, refused);
  return points;
}

FoundObjects look_up_by_name(bool display) {
  FoundObjects points =
      look_up_by_name(display, point_count(), new_point_group(), point_array_size());
  show_refused_points(display, points.errors, refused);
  return points;
}

void show_id(bool display, int32_t position) {
  show_line(display, "ID:%d", argument_.point_ids[position]);
}

void show_name(bool display, int32_t position) {
  show_line(display, "name:%s", argument_.point_names[position].c_str());
}

}  // namespace

void set_static_info_byid_demo(bool display) {
  rewrite_objects(display, look_up_by_id(display), point_fields, parent_name,
                  "set_static_info_byid_demo success!");
}

void set_static_info_byname_demo(bool display) {
  rewrite_objects(display, look_up_by_name(display), point_fields, parent_name,
                  "set_static_info_byname_demo success!");
}

void get_static_info_byid_demo(bool display) {
  show_objects(display, look_up_by_id(display), point_fields, show_id,
               "get_static_info_byid_demo success!");
}

void get_static_info_byname_demo(bool display) {
  show_objects(display, look_up_by_name(display), point_fields, show_name,
               "get_static_info_byname_demo success!");
}
