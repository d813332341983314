// Groups and objects: what a caller puts together or looks at, without the server. An object
// remembers which of its fields were changed, so that an update sends those and leaves what other
// programs wrote into the others.
#include <algorithm>
#include <cstring>

#include "api/handles.h"

using namespace kelp;

namespace {

constexpr size_t kLongestName = 200;

bool names_field(const char *field, const char *code) {
  return field != nullptr && std::strcmp(field, code) == 0;
}

// The member behind a field code of type int32, null if there is none.
int32_t ObjectRecord::*int_field(const char *field) {
  if (names_field(field, KELP2_FIELD_FQ)) return &ObjectRecord::fq;
  if (names_field(field, KELP2_FIELD_AR)) return &ObjectRecord::ar;
  if (names_field(field, KELP2_FIELD_HW)) return &ObjectRecord::hw;
  return nullptr;
}

uint32_t changed_bit(int32_t ObjectRecord::*field) {
  if (field == &ObjectRecord::fq) return kChangedFq;
  return field == &ObjectRecord::ar ? kChangedAr : kChangedHw;
}

bool is_kind(int32_t kind) {
  return kind == kNodeKind || (kind >= kFirstPointKind && kind <= kLastPointKind);
}

bool is_name(const char *name) {
  if (name == nullptr) return false;
  const size_t length = std::strlen(name);
  return length > 0 && length <= kLongestName && std::strchr(name, '.') == nullptr;
}

}  // namespace

GroupHandle kelp2_new_group(void) { return new (std::nothrow) kelp2_group; }

int32_t kelp2_add_group_point(GroupHandle group, const char *full_name) {
  return guarded([&] {
    require(group && full_name);
    group->names.emplace_back(full_name);
    return kOk;
  });
}

int32_t kelp2_free_group(GroupHandle group) {
  delete group;
  return kOk;
}

ObjectHandle kelp2_new_object(ConnectionHandle connection, const char *name, int32_t kind) {
  ObjectHandle object = nullptr;
  guarded([&] {
    store_of(connection);
    require(is_name(name) && is_kind(kind));
    object = new kelp2_object;
    object->record.name = name;
    object->record.kind = kind;
    return kOk;
  });
  return object;
}

int32_t kelp2_object_set_string(ObjectHandle object, const char *field, const char *value) {
  return guarded([&] {
    require(object && value && names_field(field, KELP2_FIELD_DESCRIPTION));
    object->record.ed = value;
    object->changed |= kChangedEd;
    return kOk;
  });
}

int32_t kelp2_object_set_int(ObjectHandle object, const char *field, int32_t value) {
  return guarded([&] {
    const auto member = int_field(field);
    require(object && member);
    object->record.*member = value;
    object->changed |= changed_bit(member);
    return kOk;
  });
}

int32_t kelp2_object_set_double(ObjectHandle object, const char *field, double value) {
  return guarded([&] {
    require(object && names_field(field, KELP2_FIELD_IV));
    object->record.iv = value;
    object->changed |= kChangedIv;
    return kOk;
  });
}

int32_t kelp2_object_get_string(ObjectHandle object, const char *field, char *buffer,
                                int32_t size) {
  return guarded([&] {
    require(buffer && size > 0);
    buffer[0] = '\0';
    require(object != nullptr);
    const bool name = names_field(field, KELP2_FIELD_NAME);
    require(name || names_field(field, KELP2_FIELD_DESCRIPTION));
    const std::string &text = name ? object->record.name : object->record.ed;
    const size_t length = std::min<size_t>(text.size(), size - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return kOk;
  });
}

int32_t kelp2_object_get_int(ObjectHandle object, const char *field) {
  const auto member = int_field(field);
  return object && member ? object->record.*member : 0;
}

double kelp2_object_get_double(ObjectHandle object, const char *field) {
  return object && names_field(field, KELP2_FIELD_IV) ? object->record.iv : 0;
}

int32_t kelp2_free_object(ObjectHandle object) {
  delete object;
  return kOk;
}
