// Groups, objects and the tree. An object remembers which of its fields were changed, so that an
// update sends those and leaves what other programs wrote into the others.
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

// Positions of the objects that take part in an operation; the entries of the others are set.
std::vector<int32_t> usable(std::span<const ObjectHandle> objects, bool saved, int32_t *errors) {
  std::vector<int32_t> positions;
  for (size_t i = 0; i < objects.size(); ++i) {
    if (objects[i] == nullptr) {
      errors[i] = kInvalidArgument;
    } else if (saved && objects[i]->record.id == 0) {
      errors[i] = kUnknownName;
    } else {
      positions.push_back(static_cast<int32_t>(i));
    }
  }
  return positions;
}

std::vector<ResultCode> apply(Store &store, int32_t operation, const std::string &parent,
                              std::span<const ObjectHandle> objects,
                              const std::vector<int32_t> &positions) {
  std::vector<ObjectRecord *> records;
  std::vector<ObjectChange> changes;
  std::vector<int32_t> ids;
  for (const int32_t i : positions) {
    kelp2_object &object = *objects[i];
    records.push_back(&object.record);
    changes.push_back({object.record.id, object.changed, &object.record});
    ids.push_back(object.record.id);
  }
  switch (operation) {
    case Insert: return store.insert(parent, records);
    case Update: return store.update(parent, changes);
    default: return store.erase(parent, ids);
  }
}

int32_t modify(Store &store, int32_t operation, const std::string &parent,
               std::span<const ObjectHandle> objects, int32_t *errors) {
  const std::vector<int32_t> positions = usable(objects, operation != Insert, errors);
  if (positions.empty()) return 0;
  const std::vector<ResultCode> codes = apply(store, operation, parent, objects, positions);
  int32_t done = 0;
  for (size_t i = 0; i < positions.size(); ++i) {
    errors[positions[i]] = codes[i];
    if (codes[i] != kOk) continue;
    objects[positions[i]]->changed = 0;
    ++done;
  }
  return done;
}

int32_t hand_out(const std::vector<std::optional<ObjectRecord>> &records, ObjectHandle *objects,
                 int32_t *errors) {
  for (size_t i = 0; i < records.size(); ++i) {
    objects[i] = records[i] ? new kelp2_object{*records[i]} : nullptr;
    errors[i] = records[i] ? kOk : kUnknownName;
  }
  return kOk;
}

int32_t hand_out_list(const std::vector<ObjectRecord> &records, int32_t *count,
                      ObjectHandle **list) {
  *count = static_cast<int32_t>(records.size());
  *list = nullptr;
  if (records.empty()) return kOk;
  auto handles = std::make_unique<ObjectHandle[]>(records.size());
  for (size_t i = 0; i < records.size(); ++i) handles[i] = new kelp2_object{records[i]};
  *list = handles.release();
  return kOk;
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

int32_t kelp2_modify_object(ConnectionHandle connection, int32_t operation, const char *parent,
                            int32_t count, ObjectHandle *objects, int32_t *errors) {
  const int32_t result = guarded([&] {
    require(count >= 0 && parent && (count == 0 || (objects && errors)));
    require(operation == Update || operation == Insert || operation == Delete);
    Store &store = store_of(connection);
    return modify(store, operation, parent, {objects, static_cast<size_t>(count)}, errors);
  });
  // Callers compare the result with a count and the entries with 0: a failure shows in both.
  if (result < 0 && errors != nullptr) std::fill_n(errors, std::max(count, 0), result);
  return result;
}

int32_t kelp2_get_object_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                              ObjectHandle *objects, int32_t *errors) {
  return guarded([&] {
    require(count >= 0 && (count == 0 || (ids && objects && errors)));
    std::fill_n(objects, count, nullptr);
    const std::span wanted(ids, static_cast<size_t>(count));
    return hand_out(store_of(connection).points(wanted), objects, errors);
  });
}

int32_t kelp2_get_object_byname(ConnectionHandle connection, GroupHandle group,
                                ObjectHandle *objects, int32_t *errors) {
  return guarded([&] {
    require(group && (group->names.empty() || (objects && errors)));
    std::fill_n(objects, group->names.size(), nullptr);
    return hand_out(store_of(connection).objects(group->names), objects, errors);
  });
}

int32_t kelp2_get_child(ConnectionHandle connection, const char *full_name, int32_t *count,
                        ObjectHandle **list) {
  return guarded([&] {
    require(full_name && count && list);
    return hand_out_list(store_of(connection).children(full_name), count, list);
  });
}

int32_t kelp2_get_id_byname(ConnectionHandle connection, GroupHandle group, int32_t *ids) {
  return guarded([&] {
    require(group && (group->names.empty() || ids));
    const std::vector<int32_t> found = store_of(connection).point_ids(group->names);
    std::copy(found.begin(), found.end(), ids);
    return kOk;
  });
}

int32_t kelp2_get_database(ConnectionHandle connection, int32_t *count, ObjectHandle **list) {
  return guarded([&] {
    require(count && list);
    return hand_out_list(store_of(connection).databases(), count, list);
  });
}

int32_t kelp2_free_list(int32_t count, ObjectHandle *list) {
  if (list == nullptr) return kOk;
  for (int32_t i = 0; i < count; ++i) delete list[i];
  delete[] list;
  return kOk;
}

int32_t kelp2_free_object(ObjectHandle object) {
  delete object;
  return kOk;
}
