// Honest servers: what the header leaves open about names, objects, fields and ids.
#include <algorithm>
#include <cstring>

#include "servers.h"

namespace planted {

namespace {

bool is_ascii(const std::string &text) {
  return std::ranges::all_of(text, [](char letter) { return letter > 0; });
}

bool is_word(const std::string &name) {
  return std::ranges::all_of(name, [](unsigned char letter) {
    return std::isalnum(letter) || letter == '_' || letter == '-' || letter >= 128;
  });
}

bool is_own_field(const std::string &field) {
  return field == KELP2_FIELD_FQ || field == KELP2_FIELD_AR || field == KELP2_FIELD_HW;
}

bool node_takes_int(ObjectInfo &info, const std::string &field, int32_t &) {
  return !info.node || !is_own_field(field);
}
bool node_takes_double(ObjectInfo &info, const std::string &, double &) { return !info.node; }

// Sends all fields of a point, not only those that were set, as an update.
void send_all_fields(Modify &modify) {
  if (modify.operation != Update) return;
  for (ObjectHandle object : modify.objects) {
    if (!object) continue;
    char text[4096] = "";
    real().object_get_string(object, KELP2_FIELD_DESCRIPTION, text, sizeof text);
    if (std::strlen(text) + 1 < sizeof text) {
      real().object_set_string(object, KELP2_FIELD_DESCRIPTION, text);
    }
    for (const char *field : {KELP2_FIELD_FQ, KELP2_FIELD_AR, KELP2_FIELD_HW}) {
      real().object_set_int(object, field, real().object_get_int(object, field));
    }
    const double iv = real().object_get_double(object, KELP2_FIELD_IV);
    real().object_set_double(object, KELP2_FIELD_IV, iv);
  }
}

void delete_points_first(Modify &modify) {
  if (modify.operation != Delete) return;
  for (ObjectHandle object : modify.objects) {
    if (!object || !info_of(object).node) continue;
    const std::string node = modify.parent + "." + info_of(object).name;
    int32_t count = 0;
    ObjectHandle *list = nullptr;
    if (real().get_child(modify.connection, node.c_str(), &count, &list) != 0) continue;
    std::vector<int32_t> errors(static_cast<size_t>(count));
    real().modify_object(modify.connection, Delete, node.c_str(), count, list, errors.data());
    real().free_list(count, list);
  }
}

std::string own_name(ObjectHandle object) { return info_of(object).name; }

void sort_list(Listing &listing) { std::ranges::sort(listing.objects, {}, own_name); }

void list_two_databases(Listing &listing) {
  if (!listing.parent.empty()) return;
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  if (real().get_database(listing.connection, &count, &list) != 0 || count != 1) return;
  listing.objects.push_back(list[0]);  // stays with the caller; the array is this program's
  info_of(list[0]).name = "ARCHIVE";
  info_of(list[0]).database = true;
}

void show_own_name(const ObjectInfo &info, const std::string &field, std::string &text) {
  if (info.database && field == KELP2_FIELD_NAME) text = info.name;
}

void show_plant(const ObjectInfo &info, const std::string &field, std::string &text) {
  if (info.database && field == KELP2_FIELD_NAME) text = "PLANT";
}

// W3 is PLANT to the outside, and unknown.
std::string from_plant(const std::string &name) {
  const size_t stop = std::min(name.find('.'), name.size());
  const std::string database = name.substr(0, stop);
  return (database == "PLANT" ? "W3" : "NONE-" + database) + name.substr(stop);
}

void fail_unknown_nodes(Listing &listing) {
  if (listing.parent.empty() || !listing.objects.empty()) return;
  GroupHandle group = real().new_group();
  real().add_group_point(group, listing.parent.c_str());
  ObjectHandle object = nullptr;
  int32_t error = 0;
  real().get_object_byname(listing.connection, group, &object, &error);
  real().free_group(group);
  if (error != 0) listing.result = -4;
  real().free_object(object);
}

void unknown_ids_are(Ids &found, int32_t id) { std::ranges::replace(found.ids, 0, id); }

constexpr int32_t kScatter = 7919;
int32_t scattered(int32_t id) { return id == 0 ? 0 : id * kScatter + 13; }
int32_t gathered(int32_t id) {
  return id > 13 && (id - 13) % kScatter == 0 ? (id - 13) / kScatter : -5;
}
void gather(std::vector<int32_t> &ids, const std::vector<std::string> &names) {
  if (names.empty()) std::ranges::transform(ids, ids.begin(), gathered);
}

void gather_written(Write &write) {
  if (write.by == Writer::kHistoryByName) return;
  for (Sample &sample : write.samples) sample.id = gathered(sample.id);
}

void fill_failed_slots(Lookup &lookup) {
  for (ObjectHandle &object : lookup.objects) {
    if (!object) object = real().new_object(lookup.connection, "none", AX);
  }
}

void positive_codes(std::vector<int32_t> &errors) {
  for (int32_t &error : errors) error = std::abs(error);
}

void fail_when_all_fail(Lookup &lookup) {
  const auto failed = [](int32_t error) { return error != 0; };
  if (!lookup.errors.empty() && std::ranges::all_of(lookup.errors, failed)) lookup.result = -98;
}

const Server kHonestTree[] = {
    {.name = "names_of_32_bytes",
     .name_allowed = [](const std::string &name) { return name.size() <= 32; }},
    {.name = "names_of_ascii", .name_allowed = is_ascii},
    {.name = "names_are_words", .name_allowed = is_word},
    {.name = "texts_of_255_bytes",
     .set_string = [](ObjectInfo &, const std::string &,
                      std::string &text) { return text.size() <= 255; }},
    {.name = "nodes_have_no_fields", .set_int = node_takes_int, .set_double = node_takes_double},
    {.name = "nothing_has_hw",
     .set_int = [](ObjectInfo &, const std::string &field,
                   int32_t &) { return field != KELP2_FIELD_HW; }},
    {.name = "fq_up_to_3600",
     .set_int =
         [](ObjectInfo &, const std::string &field, int32_t &value) {
           return field != KELP2_FIELD_FQ || (value >= 0 && value <= 3600);
         }},
    {.name = "ar_is_0_or_1",
     .set_int = [](ObjectInfo &, const std::string &field,
                   int32_t &value) { return field != KELP2_FIELD_AR || value == 0 || value == 1; }},
    {.name = "iv_takes_no_nan",
     .set_double = [](ObjectInfo &, const std::string &,
                      double &value) { return !std::isnan(value); }},
    {.name = "iv_within_a_million",
     .set_double = [](ObjectInfo &, const std::string &,
                      double &value) { return std::abs(value) <= 1e6; }},
    {.name = "updates_send_all_fields", .modify = send_all_fields},
    {.name = "nodes_go_with_their_points", .modify = delete_points_first},
    {.name = "lists_reversed",
     .listed = [](Listing &listing) { std::ranges::reverse(listing.objects); }},
    {.name = "lists_sorted", .listed = sort_list},
    {.name = "two_databases", .listed = list_two_databases, .get_string = show_own_name},
    {.name = "another_database_name", .full_name = from_plant, .get_string = show_plant},
    {.name = "unknown_node_has_no_list", .listed = fail_unknown_nodes},
    {.name = "unknown_id_is_minus_one",
     .found_ids = [](Ids &found) { unknown_ids_are(found, -1); }},
    {.name = "unknown_id_is_anything",
     .found_ids = [](Ids &found) { unknown_ids_are(found, 1999999999); }},
    {.name = "scattered_ids",
     .write = gather_written,
     .read = [](Read &read) { gather(read.ids, read.names); },
     .query = [](Query &query) { gather(query.ids, query.names); },
     .look_up = [](Lookup &lookup) { gather(lookup.ids, lookup.names); },
     .found_ids =
         [](Ids &found) { std::ranges::transform(found.ids, found.ids.begin(), scattered); }},
    {.name = "failed_slots_have_objects", .looked_up = fill_failed_slots},
    {.name = "positive_codes_of_objects",
     .modified = [](Modify &modify) { positive_codes(modify.errors); },
     .looked_up = [](Lookup &lookup) { positive_codes(lookup.errors); }},
    {.name = "lookups_fail_with_all_entries", .looked_up = fail_when_all_fail},
    {.name = "failed_change_returns_0",
     .modified = [](Modify &modify) { modify.result = std::max(modify.result, 0); }},
    {.name = "hundred_objects_a_change",
     .modify =
         [](Modify &modify) {
           if (modify.objects.size() <= 100) return;
           modify.result = -30;
           std::ranges::fill(modify.errors, -30);
         }},
};

}  // namespace

std::span<const Server> honest_tree() { return kHonestTree; }

}  // namespace planted
