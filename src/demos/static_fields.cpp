// An object's fields are all read before the first line about it is shown.
#include "demos/static_fields.h"

#include <array>

#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"

namespace {

void finish(const FoundObjects &found, const char *success) {
  display_result(true, success);
  if (found.group != nullptr) kelp2_free_group(found.group);
}

}  // namespace

void set_static_fields(ObjectHandle object, const StaticFields &fields, int32_t number) {
  const std::string description = numbered_text(fields.description, number);
  kelp2_object_set_string(object, KELP2_FIELD_DESCRIPTION, description.c_str());
  for (const char *code : fields.integers) kelp2_object_set_int(object, code, number);
  for (const char *code : fields.reals) kelp2_object_set_double(object, code, number);
}

FoundObjects look_up_by_name(bool display, int32_t count, GroupHandle group, size_t size) {
  FoundObjects found{count, group, std::vector<ObjectHandle>(size), std::vector<int32_t>(size)};
  const int32_t result =
      kelp2_get_object_byname(argument_.handle, group, found.handles.data(), found.errors.data());
  if (result != 0) fail(display, "kelp2_get_object_byname  error! ret= %d", result);
  return found;
}

void rewrite_objects(bool display, FoundObjects found, const StaticFields &fields,
                     std::string (*parent)(int32_t number), const char *success) {
  for (int32_t j = 0; j < found.count; ++j) {
    show_progress(j, found.count, fields.unit);
    set_static_fields(found.handles[j], fields, j + 1);
    // The entry still holds what the lookup left; only both signs together are a failure.
    const int32_t updated = kelp2_modify_object(argument_.handle, Update, parent(j + 1).c_str(), 1,
                                                &found.handles[j], &found.errors[j]);
    if (updated != 1 && found.errors[j] != 0) fail(display, "kelp2_modify_object error!");
    kelp2_free_object(found.handles[j]);
  }
  finish(found, success);
}

void show_objects(bool display, const FoundObjects &found, const StaticFields &fields,
                  void (*show_title)(bool display, int32_t position), const char *success) {
  for (int32_t j = 0; j < found.count; ++j) {
    show_progress(j, found.count, fields.unit);
    ObjectHandle object = found.handles[j];
    std::array<char, 256> text{};
    std::vector<int32_t> integers;
    std::vector<double> reals;
    kelp2_object_get_string(object, KELP2_FIELD_DESCRIPTION, text.data(), text.size());
    for (const char *code : fields.integers) integers.push_back(kelp2_object_get_int(object, code));
    for (const char *code : fields.reals) reals.push_back(kelp2_object_get_double(object, code));

    if (show_title != nullptr) show_title(display, j);
    show_line(display, "ED:%s", text.data());
    for (size_t i = 0; i < integers.size(); ++i) {
      show_line(display, "%s:%d", fields.integers[i], integers[i]);
    }
    for (size_t i = 0; i < reals.size(); ++i) {
      show_line(display, "%s:%f", fields.reals[i], reals[i]);
    }
    display_result(display, "-----------------");
  }
  for (ObjectHandle object : found.handles) kelp2_free_object(object);
  finish(found, success);
}
