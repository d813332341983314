// Faulty servers: changes to the tree, lists, and ids by name.
#include <algorithm>
#include <cstring>

#include "servers.h"

namespace planted {

namespace {

void say_done(Modify &modify, int32_t operation) {
  if (modify.operation != operation) return;
  for (int32_t &error : modify.errors) error = 0;
  modify.result = static_cast<int32_t>(modify.errors.size());
}

void lose_from(Modify &modify, int32_t operation, size_t first) {
  if (modify.operation != operation) return;
  for (size_t i = first; i < modify.objects.size(); ++i) modify.lost[i] = true;
}

void count_failed_too(Modify &modify) {
  if (modify.result >= 0) modify.result = static_cast<int32_t>(modify.errors.size());
}

// The rows of deleted points, by name, until a point of that name is inserted.
std::map<std::string, std::vector<Row>> &deleted_rows() {
  static std::map<std::string, std::vector<Row>> rows;
  return rows;
}

void keep_rows_of_deleted(Modify &modify) {
  if (modify.operation != Delete) return;
  for (ObjectHandle object : modify.objects) {
    const std::string name = modify.parent + "." + info_of(object).name;
    const int32_t id = ids_of(modify.connection, {&name, 1})[0];
    if (id != 0) deleted_rows()[name] = stored_rows(modify.connection, id, INT32_MIN, INT32_MAX);
  }
}

void give_rows_back(Modify &modify) {
  if (modify.operation != Insert) return;
  for (ObjectHandle object : modify.objects) {
    const std::string name = modify.parent + "." + info_of(object).name;
    const int32_t id = ids_of(modify.connection, {&name, 1})[0];
    for (const Row &row : deleted_rows()[name]) {
      int32_t error = 0;
      real().write_histroy_byid(modify.connection, 0, id, 1, &row.time, &row.status, &row.value,
                                &error);
    }
  }
}

template <class Change>
void change_updates(Modify &modify, Change change) {
  if (modify.operation != Update) return;
  for (ObjectHandle object : modify.objects) {
    if (object) change(object, info_of(object));
  }
}

void reset_iv(ObjectHandle object, const ObjectInfo &info) {
  if (!info.fields_set.contains(KELP2_FIELD_IV)) real().object_set_double(object, "IV", 0);
}

void reset_text(ObjectHandle object, const ObjectInfo &info) {
  const bool text_only = info.fields_set.size() == 1 && info.fields_set.contains("ED");
  if (!text_only && info.fields_set.contains("ED")) real().object_set_string(object, "ED", "");
}

void fail_named_twice(Modify &modify) {
  if (modify.operation != Update || modify.objects.size() < 2) return;
  modify.result = -1;
  std::ranges::fill(modify.errors, -1);
}

void list_at_most(Listing &listing, size_t size) {
  if (!listing.parent.empty() && listing.objects.size() > size) listing.objects.resize(size);
}

void end_names_at_percent(Listing &listing) {
  const size_t letters = listing.parent.find('_');
  if (letters != std::string::npos) listing.parent.resize(letters);
}

// Whether a name fits a pattern in which _ is any letter and % any text.
bool fits(const char *pattern, const char *name) {
  if (*pattern == '\0') return *name == '\0';
  if (*pattern == '%') return fits(pattern + 1, name) || (*name && fits(pattern, name + 1));
  return *name && (*pattern == '_' || *pattern == *name) && fits(pattern + 1, name + 1);
}

int32_t id_by_pattern(ConnectionHandle connection, const std::string &full_name) {
  const size_t stop = full_name.rfind('.');
  if (stop == std::string::npos) return 0;
  const std::string node = full_name.substr(0, stop);
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  int32_t id = 0;
  if (real().get_child(connection, node.c_str(), &count, &list) != 0) return 0;
  for (int32_t i = 0; i < count && id == 0; ++i) {
    char name[512] = "";
    real().object_get_string(list[i], KELP2_FIELD_NAME, name, sizeof name);
    const std::string found = node + "." + name;
    if (fits(full_name.c_str() + stop + 1, name)) id = ids_of(connection, {&found, 1})[0];
  }
  real().free_list(count, list);
  return id;
}

// A pattern finds the first that fits, also where one has just this name.
void take_patterns(const std::vector<std::string> &names, ConnectionHandle connection,
                   std::vector<int32_t> &ids, const char *letter) {
  for (size_t i = 0; i < names.size(); ++i) {
    const std::string point = names[i].substr(names[i].rfind('.') + 1);
    if (point.find(letter) != std::string::npos) ids[i] = id_by_pattern(connection, names[i]);
  }
}

void second_id_is_0(Ids &found) {
  std::set<int32_t> seen;
  for (int32_t &id : found.ids) {
    if (!seen.insert(id).second) id = 0;
  }
}

void ids_beyond_repeat(Ids &found, size_t first) {
  for (size_t i = first; i < found.ids.size(); ++i) found.ids[i] = found.ids[first - 1];
}

void any_database(Ids &found) {
  for (size_t i = 0; i < found.names.size(); ++i) {
    const size_t stop = found.names[i].find('.');
    if (found.ids[i] != 0 || stop == std::string::npos) continue;
    const std::string name = "W3" + found.names[i].substr(stop);
    found.ids[i] = ids_of(found.connection, {&name, 1})[0];
  }
}

std::string lower_node(const std::string &name) {
  const size_t stop = name.rfind('.');
  std::string cut = name;
  if (stop != std::string::npos && name.size() - stop > 65) cut.resize(stop + 65);
  return cut;
}

void swap_in_pairs(Lookup &lookup) {
  if (lookup.names.empty() || lookup.objects.size() < 3) return;
  std::swap(lookup.objects[0], lookup.objects[1]);
  std::swap(lookup.errors[0], lookup.errors[1]);
}

void swallow_unknown(Lookup &lookup) { std::ranges::fill(lookup.errors, 0); }

// An object with the fields of a new one stands for an unknown point.
void invent_unknown(Lookup &lookup) {
  for (size_t i = 0; i < lookup.objects.size(); ++i) {
    if (lookup.objects[i]) continue;
    lookup.objects[i] = real().new_object(lookup.connection, "POINT", AX);
    lookup.errors[i] = 0;
  }
}

void fail_repeated(Lookup &lookup) {
  std::set<int32_t> seen;
  for (size_t i = 0; i < lookup.ids.size(); ++i) {
    if (seen.insert(lookup.ids[i]).second) continue;
    real().free_object(lookup.objects[i]);
    lookup.objects[i] = nullptr;
    lookup.errors[i] = -4;
  }
}

const Server kFaultyTree[] = {
    {.name = "existing_name_inserted", .modified = [](Modify &m) { say_done(m, Insert); }},
    {.name = "deletion_swallowed_after_first",
     .modify = [](Modify &m) { lose_from(m, Delete, 1); }},
    {.name = "all_deletions_swallowed", .modify = [](Modify &m) { lose_from(m, Delete, 0); }},
    {.name = "insertions_beyond_50_lost", .modify = [](Modify &m) { lose_from(m, Insert, 50); }},
    {.name = "updates_beyond_first_lost", .modify = [](Modify &m) { lose_from(m, Update, 1); }},
    {.name = "failed_objects_counted", .modified = count_failed_too},
    {.name = "count_of_one_is_0",
     .modified =
         [](Modify &m) {
           if (m.result == 1 && m.operation == Update) m.result = 0;
         }},
    {.name = "count_one_less_beyond_10",
     .modified =
         [](Modify &m) {
           if (m.result > 10) --m.result;
         }},
    {.name = "values_outlive_point", .modify = keep_rows_of_deleted, .modified = give_rows_back},
    {.name = "update_resets_iv", .modify = [](Modify &m) { change_updates(m, reset_iv); }},
    {.name = "update_of_two_fields_clears_text",
     .modify = [](Modify &m) { change_updates(m, reset_text); }},
    {.name = "updates_of_two_fail", .modify = fail_named_twice},
    {.name = "empty_change_fails",
     .modified =
         [](Modify &m) {
           if (m.objects.empty()) m.result = -1;
         }},
    {.name = "lists_end_at_50", .listed = [](Listing &l) { list_at_most(l, 50); }},
    {.name = "lists_of_two_have_one",
     .listed =
         [](Listing &l) {
           if (l.objects.size() == 2) l.objects.pop_back();
         }},
    {.name = "list_cuts_name_at_underscore", .list = end_names_at_percent},
    {.name = "underscore_is_a_pattern",
     .found_ids = [](Ids &f) { take_patterns(f.names, f.connection, f.ids, "_"); }},
    {.name = "percent_is_a_pattern",
     .found_ids = [](Ids &f) { take_patterns(f.names, f.connection, f.ids, "%"); }},
    {.name = "second_id_of_two_is_0", .found_ids = second_id_is_0},
    {.name = "ids_beyond_100_repeat", .found_ids = [](Ids &f) { ids_beyond_repeat(f, 100); }},
    {.name = "ids_sorted", .found_ids = [](Ids &f) { std::ranges::sort(f.ids); }},
    {.name = "ids_ignore_database", .found_ids = any_database},
    {.name = "names_looked_up_to_64_bytes", .full_name = lower_node},
    {.name = "first_two_objects_swapped", .looked_up = swap_in_pairs},
    {.name = "unknown_objects_swallowed", .looked_up = swallow_unknown},
    {.name = "unknown_objects_invented", .looked_up = invent_unknown},
    {.name = "object_twice_fails", .looked_up = fail_repeated},
};

}  // namespace

std::span<const Server> faulty_tree() { return kFaultyTree; }

}  // namespace planted
