// What a run shows, from the first banner on, when all goes well.
#pragma once

#include <map>
#include <sstream>
#include <string>

namespace kelptest {

// What the program prints once it has come to the continuous writer.
constexpr const char *kWriting = "I'm writing realvalue, once every second ! \n......\n";

// The first demonstrations of a run on a server whose clock shows that time; `replaced` is what the
// removal of an older tree prints.
inline std::string expected_run(int demonstrations, const std::string &clock,
                                const std::string &replaced = "") {
  std::istringstream names(
      "connect_demo get_system_time_demo get_database_demo decode_encode_time_demo"
      " insert_node_point_demo get_id_byname_demo write_realvalue_byid_demo"
      " read_realvalue_byid_demo read_realvalue_byname_demo write_hisvalue_byid_demo"
      " get_hisvalue_byid_demo write_hisvalue_byname_demo get_hisvalue_byname_demo"
      " get_statvalue_byid_demo get_statvalue_byname_demo set_static_info_byid_demo"
      " set_node_static_info_byname_demo get_node_static_info_byname_demo"
      " set_static_info_byname_demo get_static_info_byid_demo get_static_info_byname_demo"
      " write_cache_byid_demo write_cache_one_byid_demo write_snap_byid_demo get_snap_byid_demo"
      " get_snap_byname_demo write_realvalue_every_second delete_point_node_demo close_kelp");
  // What the others show is their name and " success!".
  const std::map<std::string, std::string> shown{
      {"connect_demo", "connect success!\n"},
      {"get_system_time_demo", clock + "\nkelp2_get_system_time success!\n"},
      {"get_database_demo", "W3\nget_database_demo success!\n"},
      {"insert_node_point_demo", replaced + "insert node success!\ninsert point success!\n"},
      {"get_id_byname_demo", "kelp2_get_id_byname success!\n"},
      {"write_hisvalue_byid_demo", "kelp2_write_histroy_byid success!\n"},
      {"get_hisvalue_byid_demo", "get_hisvalue_byid_demo success\n"},
      {"write_realvalue_every_second", kWriting},
      {"close_kelp", ""}};
  std::string text, name;
  for (int number = 1; number <= demonstrations && names >> name; ++number) {
    const std::string title = std::to_string(number) + ". " + name + std::string(49, '-');
    text += "\n" + (std::string(29, '-') + title).substr(0, 78) + "\n";
    text += shown.contains(name) ? shown.at(name) : name + " success!\n";
  }
  return text;
}

}  // namespace kelptest
