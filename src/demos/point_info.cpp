// Static fields of the test points: two demonstrations rewrite them and two read them back, one of
// each pair finding the points by id and one by name.
#include <array>
#include <vector>

#include "demos/demos.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

struct Points {
  GroupHandle group;  // null when found by id
  std::vector<ObjectHandle> objects;
  std::vector<int32_t> errors;
};

void show_errors(bool display, const Points &points) {
  for (int32_t j = 0; j < point_count(); ++j) {
    if (points.errors[j] == 0) continue;
    show_line(display, "id = %d, get object error! error=%d", argument_.point_ids[j],
              points.errors[j]);
  }
}

Points look_up_by_id(bool display) {
  const std::vector<int32_t> ids = test_point_ids();
  Points points{nullptr, std::vector<ObjectHandle>(ids.size()), std::vector<int32_t>(ids.size())};
  const int32_t result = kelp2_get_object_byid(argument_.handle, point_count(), ids.data(),
                                               points.objects.data(), points.errors.data());
  if (result != 0) fail(display, "kelp2_get_object_byid  error! ret= %d", result);
  show_errors(display, points);
  return points;
}

Points look_up_by_name(bool display) {
  Points points{new_point_group(), std::vector<ObjectHandle>(point_array_size()),
                std::vector<int32_t>(point_array_size())};
  const int32_t result = kelp2_get_object_byname(argument_.handle, points.group,
                                                 points.objects.data(), points.errors.data());
  if (result != 0) fail(display, "kelp2_get_object_byname  error! ret= %d", result);
  show_errors(display, points);
  return points;
}

void set_fields(ObjectHandle object, int32_t point) {
  const std::string description = numbered_text("test static info %05d", point);
  kelp2_object_set_string(object, KELP2_FIELD_DESCRIPTION, description.c_str());
  kelp2_object_set_int(object, KELP2_FIELD_HW, point);
  kelp2_object_set_double(object, KELP2_FIELD_IV, point);
}

void update_and_release(bool display, Points &points) {
  for (int32_t j = 0; j < point_count(); ++j) {
    set_fields(points.objects[j], j + 1);
    // The entry still holds what the lookup left; only both signs together are a failure.
    const int32_t updated =
        kelp2_modify_object(argument_.handle, Update, parent_name(j + 1).c_str(), 1,
                            &points.objects[j], &points.errors[j]);
    if (updated != 1 && points.errors[j] != 0) fail(display, "kelp2_modify_object error!");
    kelp2_free_object(points.objects[j]);
  }
}

void show_fields(bool display, ObjectHandle object) {
  std::array<char, 256> description{};
  kelp2_object_get_string(object, KELP2_FIELD_DESCRIPTION, description.data(), description.size());
  const int32_t hw = kelp2_object_get_int(object, KELP2_FIELD_HW);
  const double iv = kelp2_object_get_double(object, KELP2_FIELD_IV);
  show_line(display, "ED:%s", description.data());
  show_line(display, "HW:%d", hw);
  show_line(display, "IV:%f", iv);
  display_result(display, "-----------------");
}

void release(const Points &points) {
  for (ObjectHandle object : points.objects) kelp2_free_object(object);
}

}  // namespace

void set_static_info_byid_demo(bool display) {
  Points points = look_up_by_id(display);
  update_and_release(display, points);
  display_result(true, "set_static_info_byid_demo success!");
}

void set_static_info_byname_demo(bool display) {
  Points points = look_up_by_name(display);
  update_and_release(display, points);
  display_result(true, "set_static_info_byname_demo success!");
  kelp2_free_group(points.group);
}

void get_static_info_byid_demo(bool display) {
  const Points points = look_up_by_id(display);
  for (int32_t j = 0; j < point_count(); ++j) {
    show_line(display, "ID:%d", argument_.point_ids[j]);
    show_fields(display, points.objects[j]);
  }
  release(points);
  display_result(true, "get_static_info_byid_demo success!");
}

void get_static_info_byname_demo(bool display) {
  const Points points = look_up_by_name(display);
  for (int32_t j = 0; j < point_count(); ++j) {
    show_line(display, "name:%s", argument_.point_names[j].c_str());
    show_fields(display, points.objects[j]);
  }
  release(points);
  display_result(true, "get_static_info_byname_demo success!");
  kelp2_free_group(points.group);
}
