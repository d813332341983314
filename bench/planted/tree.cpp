// Objects on the server: changed, read, listed, and ids by name.
#include <algorithm>
#include <map>

#include "handles.h"
#include "real.h"

using namespace planted;

namespace {

// Sends the objects that are not lost, and counts those as done whose entries are 0.
void send(Modify &modify) {
  std::vector<ObjectHandle> objects;
  for (size_t i = 0; i < modify.objects.size(); ++i) {
    if (!modify.lost[i]) objects.push_back(modify.objects[i]);
  }
  std::vector<int32_t> errors(objects.size());
  modify.result =
      real().modify_object(modify.connection, modify.operation, modify.parent.c_str(),
                           static_cast<int32_t>(objects.size()), objects.data(), errors.data());
  size_t next = 0;
  for (size_t i = 0; i < modify.objects.size(); ++i) {
    if (!modify.lost[i]) {
      modify.errors[i] = errors[next++];
    } else if (modify.errors[i] == 0 && modify.result >= 0) {
      ++modify.result;
    }
  }
}

void note_point(ObjectHandle object) {
  if (!object) return;
  char name[512] = "";
  real().object_get_string(object, KELP2_FIELD_NAME, name, sizeof name);
  note_object(object, {name, "", 0, false, false, {}});
}

void note_named(ObjectHandle object, const std::string &full_name) {
  if (!object) return;
  const bool node = std::count(full_name.begin(), full_name.end(), '.') == 1;
  note_object(
      object,
      {name_after_last_stop(full_name), name_before_last_stop(full_name), 0, node, false, {}});
}

int32_t hand_out(Lookup &lookup, ObjectHandle *objects, int32_t *errors) {
  if (server().looked_up) server().looked_up(lookup);
  std::copy(lookup.objects.begin(), lookup.objects.end(), objects);
  std::copy(lookup.errors.begin(), lookup.errors.end(), errors);
  return lookup.result;
}

// The store's list behind one that was handed out with entries moved, left out or added.
struct StoredList {
  int32_t count;
  ObjectHandle *list;
};

std::map<ObjectHandle *, StoredList> &stored_lists() {
  static auto *lists = new std::map<ObjectHandle *, StoredList>;
  return *lists;
}

int32_t hand_out(Listing &listing, StoredList stored, int32_t *count, ObjectHandle **list) {
  for (ObjectHandle object : listing.objects) {
    note_point(object);
    info_of(object).parent = listing.parent;
    info_of(object).database = listing.parent.empty();
  }
  if (server().listed) server().listed(listing);
  *count = static_cast<int32_t>(listing.objects.size());
  *list = nullptr;
  if (listing.objects.empty()) {
    real().free_list(stored.count, stored.list);
    return listing.result;
  }
  *list = new ObjectHandle[listing.objects.size()];
  std::copy(listing.objects.begin(), listing.objects.end(), *list);
  stored_lists()[*list] = stored;
  return listing.result;
}

}  // namespace

int32_t kelp2_modify_object(ConnectionHandle connection, int32_t operation, const char *parent,
                            int32_t count, ObjectHandle *objects, int32_t *errors) {
  if (!connection || count < 0 || !parent || (count > 0 && !(objects && errors))) {
    return real().modify_object(connection, operation, parent, count, objects, errors);
  }
  Modify modify{connection, operation, stored_name(parent), {objects, objects + count}, {}, {}};
  modify.errors.resize(count);
  modify.lost.resize(count);
  if (server().modify) server().modify(modify);
  if (modify.result == 0) send(modify);
  if (server().modified) server().modified(modify);
  std::copy(modify.errors.begin(), modify.errors.end(), errors);
  return modify.result;
}

int32_t kelp2_get_object_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                              ObjectHandle *objects, int32_t *errors) {
  if (!connection || count < 0 || (count > 0 && !(ids && objects && errors))) {
    return kInvalidArgument;
  }
  Lookup lookup{connection, {}, {ids, ids + count}, {}, {}};
  lookup.objects.resize(count);
  lookup.errors.resize(count);
  if (server().look_up) server().look_up(lookup);
  lookup.result = real().get_object_byid(connection, count, lookup.ids.data(),
                                         lookup.objects.data(), lookup.errors.data());
  for (ObjectHandle object : lookup.objects) note_point(object);
  return hand_out(lookup, objects, errors);
}

int32_t kelp2_get_object_byname(ConnectionHandle connection, GroupHandle group,
                                ObjectHandle *objects, int32_t *errors) {
  if (!connection || !group) return kInvalidArgument;
  Lookup lookup{connection, stored_names(group), {}, {}, {}};
  if (!lookup.names.empty() && !(objects && errors)) return kInvalidArgument;
  lookup.objects.resize(lookup.names.size());
  lookup.errors.resize(lookup.names.size());
  GroupHandle stored = real().new_group();
  for (const std::string &name : lookup.names) real().add_group_point(stored, name.c_str());
  lookup.result =
      real().get_object_byname(connection, stored, lookup.objects.data(), lookup.errors.data());
  real().free_group(stored);
  for (size_t i = 0; i < lookup.names.size(); ++i) {
    note_named(lookup.objects[i], lookup.names[i]);
  }
  return hand_out(lookup, objects, errors);
}

int32_t kelp2_get_id_byname(ConnectionHandle connection, GroupHandle group, int32_t *ids) {
  if (!connection || !group) return kInvalidArgument;
  Ids found{connection, stored_names(group), {}};
  if (!found.names.empty() && !ids) return kInvalidArgument;
  GroupHandle stored = real().new_group();
  for (const std::string &name : found.names) real().add_group_point(stored, name.c_str());
  found.ids.resize(found.names.size());
  found.result = real().get_id_byname(connection, stored, found.ids.data());
  real().free_group(stored);
  if (server().found_ids) server().found_ids(found);
  if (found.result == 0) std::copy(found.ids.begin(), found.ids.end(), ids);
  return found.result;
}

int32_t kelp2_get_child(ConnectionHandle connection, const char *full_name, int32_t *count,
                        ObjectHandle **list) {
  if (!connection || !full_name || !count || !list) return kInvalidArgument;
  Listing listing{connection, stored_name(full_name), {}};
  if (server().list) server().list(listing);
  StoredList stored{};
  const int32_t result =
      real().get_child(connection, listing.parent.c_str(), &stored.count, &stored.list);
  if (result != 0) return result;
  listing.objects.assign(stored.list, stored.list + stored.count);
  return hand_out(listing, stored, count, list);
}

int32_t kelp2_get_database(ConnectionHandle connection, int32_t *count, ObjectHandle **list) {
  if (!connection || !count || !list) return kInvalidArgument;
  Listing listing{connection, "", {}};
  StoredList stored{};
  const int32_t result = real().get_database(connection, &stored.count, &stored.list);
  if (result != 0) return result;
  listing.objects.assign(stored.list, stored.list + stored.count);
  return hand_out(listing, stored, count, list);
}

int32_t kelp2_free_list(int32_t count, ObjectHandle *list) {
  const auto found = stored_lists().find(list);
  if (found == stored_lists().end()) return real().free_list(count, list);
  const StoredList stored = found->second;
  stored_lists().erase(found);
  for (int32_t i = 0; i < count; ++i) {
    forget_object(list[i]);
    const bool added =
        std::find(stored.list, stored.list + stored.count, list[i]) == stored.list + stored.count;
    if (added) real().free_object(list[i]);
  }
  delete[] list;
  return real().free_list(stored.count, stored.list);
}
