// The fixed order of a run. It matters: the first entry connects, the fifth and sixth build the
// tree and find the ids that all later ones work on. The continuous writer never returns, so a run
// does not reach the two entries after it.
#include "driver/registry.h"

#include <array>
#include <cstdio>

#include "demos/demos.h"
#include "driver/connection.h"
#include "driver/output.h"
#include "driver/progress.h"

std::vector<Demo> demo_globle;
int32_t demo_count = 1;

void add_demo(bool display, const DemoFunction &func, const char *name) {
  demo_globle.push_back({func, name, display});
}

void add() {
  add_demo(true, connect_demo, "connect_demo");
  add_demo(true, get_system_time_demo, "get_system_time_demo");
  add_demo(true, get_database_demo, "get_database_demo");
  add_demo(true, decode_encode_time_demo, "decode_encode_time_demo");
  add_demo(true, insert_node_point_demo, "insert_node_point_demo");
  add_demo(false, get_id_byname_demo, "get_id_byname_demo");
  add_demo(true, write_realvalue_byid_demo, "write_realvalue_byid_demo");
  add_demo(false, read_realvalue_byid_demo, "read_realvalue_byid_demo");
  add_demo(false, read_realvalue_byname_demo, "read_realvalue_byname_demo");
  add_demo(true, write_hisvalue_byid_demo, "write_hisvalue_byid_demo");
  add_demo(false, get_hisvalue_byid_demo, "get_hisvalue_byid_demo");
  add_demo(true, write_hisvalue_byname_demo, "write_hisvalue_byname_demo");
  add_demo(false, get_hisvalue_byname_demo, "get_hisvalue_byname_demo");
  add_demo(false, get_statvalue_byid_demo, "get_statvalue_byid_demo");
  add_demo(false, get_statvalue_byname_demo, "get_statvalue_byname_demo");
  add_demo(true, set_static_info_byid_demo, "set_static_info_byid_demo");
  add_demo(true, set_node_static_info_byname_demo, "set_node_static_info_byname_demo");
  add_demo(false, get_node_static_info_byname_demo, "get_node_static_info_byname_demo");
  add_demo(true, set_static_info_byname_demo, "set_static_info_byname_demo");
  add_demo(false, get_static_info_byid_demo, "get_static_info_byid_demo");
  add_demo(false, get_static_info_byname_demo, "get_static_info_byname_demo");
  add_demo(true, write_cache_byid_demo, "write_cache_byid_demo");
  add_demo(true, write_cache_one_byid_demo, "write_cache_one_byid_demo");
  add_demo(true, write_snap_byid_demo, "write_snap_byid_demo");
  add_demo(false, get_snap_byid_demo, "get_snap_byid_demo");
  add_demo(false, get_snap_byname_demo, "get_snap_byname_demo");
  add_demo(true, write_realvalue_every_second, "write_realvalue_every_second");
  add_demo(true, delete_point_node_demo, "delete_point_node_demo");
  add_demo(true, close_kelp, "close_kelp");
}

void run_demo(const Demo &demo) {
  std::array<char, 80> banner{};
  const int32_t number = demo_count++;
  std::snprintf(banner.data(), banner.size() - 1,
                "-----------------------------%d. %s--------------------------------------", number,
                demo.name.c_str());
  print(true, "");
  print(true, banner.data());
  begin_progress(demo.name.c_str());
  demo.func(demo.display);
}

void run() {
  add();
  for (size_t i = 0; i < demo_globle.size(); ++i) run_demo(demo_globle[i]);
  print(true, "");
}
