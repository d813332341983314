// The tree on the server: objects are inserted, updated, deleted, read and listed.
#include <algorithm>

#include "api/handles.h"

using namespace kelp;

namespace {

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
int32_t kelp2_modify_object(ConnectionHandle connection, int32_t operation, const char *parent,
                            int32_t count, ObjectHandle *objects, int32_t *errors) {
  const int32_t result = guarded([&] {
    require_arrays(count, objects, errors);
    require(parent != nullptr);
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
    require_arrays(count, ids, objects, errors);
    std::fill_n(objects, count, nullptr);
    const std::span wanted(ids, static_cast<size_t>(count));
    return hand_out(store_of(connection).points(wanted), objects, errors);
  });
}

int32_t kelp2_get_object_byname(ConnectionHandle connection, GroupHandle group,
                                ObjectHandle *objects, int32_t *errors) {
  return guarded([&] {
    const std::vector<std::string> &names = names_of(group);
    require_arrays(std::ssize(names), objects, errors);
    std::fill_n(objects, names.size(), nullptr);
    return hand_out(store_of(connection).objects(names), objects, errors);
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
    const std::vector<std::string> &names = names_of(group);
    require_arrays(std::ssize(names), ids);
    const std::vector<int32_t> found = store_of(connection).point_ids(names);
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
