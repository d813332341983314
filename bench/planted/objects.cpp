// Groups, objects and their fields, and the notes that are kept about objects.
#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "handles.h"
#include "real.h"

using namespace planted;

namespace planted {

namespace {

std::unordered_map<ObjectHandle, ObjectInfo> &notes() {
  static auto *objects = new std::unordered_map<ObjectHandle, ObjectInfo>;
  return *objects;
}

}  // namespace

ObjectInfo &info_of(ObjectHandle object) { return notes()[object]; }
void note_object(ObjectHandle object, ObjectInfo info) { notes()[object] = std::move(info); }
void forget_object(ObjectHandle object) { notes().erase(object); }

std::string stored_name(const std::string &full_name) {
  return server().full_name ? server().full_name(full_name) : full_name;
}

std::vector<std::string> stored_names(GroupHandle group) {
  std::vector<std::string> names;
  for (const std::string &name : group->names) names.push_back(stored_name(name));
  return names;
}

std::vector<int32_t> ids_of(ConnectionHandle connection, std::span<const std::string> names) {
  GroupHandle group = real().new_group();
  for (const std::string &name : names) real().add_group_point(group, name.c_str());
  std::vector<int32_t> ids(names.size());
  real().get_id_byname(connection, group, ids.data());
  real().free_group(group);
  return ids;
}

bool is_point(ConnectionHandle connection, int32_t id) {
  ObjectHandle object = nullptr;
  int32_t error = 0;
  const int32_t result = real().get_object_byid(connection, 1, &id, &object, &error);
  real().free_object(object);
  return result == 0 && error == 0;
}

std::string name_after_last_stop(const std::string &full_name) {
  const size_t stop = full_name.rfind('.');
  return stop == std::string::npos ? full_name : full_name.substr(stop + 1);
}

std::string name_before_last_stop(const std::string &full_name) {
  const size_t stop = full_name.rfind('.');
  return stop == std::string::npos ? "" : full_name.substr(0, stop);
}

}  // namespace planted

namespace {

// The whole text of a field; false where the object has no such field.
bool read_text(ObjectHandle object, const char *field, std::string &text) {
  text.resize(4096);
  for (;;) {
    const auto size = static_cast<int32_t>(text.size());
    if (real().object_get_string(object, field, text.data(), size) != 0) return false;
    const size_t length = std::strlen(text.data());
    if (length + 1 < text.size()) {
      text.resize(length);
      return true;
    }
    text.resize(text.size() * 4);
  }
}

}  // namespace

GroupHandle kelp2_new_group(void) { return new kelp2_group; }

int32_t kelp2_add_group_point(GroupHandle group, const char *full_name) {
  if (!group || !full_name) return kInvalidArgument;
  group->names.emplace_back(full_name);
  return 0;
}

int32_t kelp2_free_group(GroupHandle group) {
  delete group;
  return 0;
}

ObjectHandle kelp2_new_object(ConnectionHandle connection, const char *name, int32_t kind) {
  if (name && server().name_allowed && !server().name_allowed(name)) return nullptr;
  ObjectHandle object = real().new_object(connection, name, kind);
  if (object) note_object(object, {name, "", kind, kind == KindNode, false, {}});
  return object;
}

int32_t kelp2_object_set_string(ObjectHandle object, const char *field, const char *value) {
  if (!object || !field || !value) return kInvalidArgument;
  std::string text = value;
  if (server().set_string && !server().set_string(info_of(object), field, text)) {
    return kInvalidArgument;
  }
  info_of(object).fields_set.insert(field);
  return real().object_set_string(object, field, text.c_str());
}

int32_t kelp2_object_set_int(ObjectHandle object, const char *field, int32_t value) {
  if (!object || !field) return kInvalidArgument;
  if (server().set_int && !server().set_int(info_of(object), field, value)) {
    return kInvalidArgument;
  }
  info_of(object).fields_set.insert(field);
  return real().object_set_int(object, field, value);
}

int32_t kelp2_object_set_double(ObjectHandle object, const char *field, double value) {
  if (!object || !field) return kInvalidArgument;
  if (server().set_double && !server().set_double(info_of(object), field, value)) {
    return kInvalidArgument;
  }
  info_of(object).fields_set.insert(field);
  return real().object_set_double(object, field, value);
}

int32_t kelp2_object_get_string(ObjectHandle object, const char *field, char *buffer,
                                int32_t size) {
  std::string text;
  if (!object || !field || !buffer || size <= 0 || !read_text(object, field, text)) {
    return real().object_get_string(object, field, buffer, size);
  }
  if (server().get_string) server().get_string(info_of(object), field, text);
  const size_t length = std::min<size_t>(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  if (server().got_string) server().got_string(buffer, size, text);
  return 0;
}

int32_t kelp2_object_get_int(ObjectHandle object, const char *field) {
  int32_t value = real().object_get_int(object, field);
  if (object && field && server().get_int) server().get_int(info_of(object), field, value);
  return value;
}

double kelp2_object_get_double(ObjectHandle object, const char *field) {
  double value = real().object_get_double(object, field);
  if (object && field && server().get_double) server().get_double(info_of(object), field, value);
  return value;
}

int32_t kelp2_free_object(ObjectHandle object) {
  forget_object(object);
  return real().free_object(object);
}
