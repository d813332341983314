// The real library behind a planted server: its 40 operations, loaded by path. The path is that of
// the bundled library of this build, or KELP_PLANTED_REAL.
#pragma once

#include <kelpapi2.h>

namespace planted {

constexpr int32_t kInvalidArgument = -1;

struct Real {
  Real();

  decltype(&kelp2_init) init;
  decltype(&kelp2_status) status;
  decltype(&kelp2_close) close;
  decltype(&kelp2_get_system_time) get_system_time;
  decltype(&kelp2_encode_time) encode_time;
  decltype(&kelp2_decode_time) decode_time;
  decltype(&kelp2_get_database) get_database;
  decltype(&kelp2_free_list) free_list;
  decltype(&kelp2_new_group) new_group;
  decltype(&kelp2_add_group_point) add_group_point;
  decltype(&kelp2_free_group) free_group;
  decltype(&kelp2_new_object) new_object;
  decltype(&kelp2_object_set_string) object_set_string;
  decltype(&kelp2_object_set_int) object_set_int;
  decltype(&kelp2_object_set_double) object_set_double;
  decltype(&kelp2_object_get_string) object_get_string;
  decltype(&kelp2_object_get_int) object_get_int;
  decltype(&kelp2_object_get_double) object_get_double;
  decltype(&kelp2_modify_object) modify_object;
  decltype(&kelp2_get_object_byid) get_object_byid;
  decltype(&kelp2_get_object_byname) get_object_byname;
  decltype(&kelp2_get_child) get_child;
  decltype(&kelp2_get_id_byname) get_id_byname;
  decltype(&kelp2_free_object) free_object;
  decltype(&kelp2_write_value) write_value;
  decltype(&kelp2_get_value_byid) get_value_byid;
  decltype(&kelp2_write_histroy_byid) write_histroy_byid;
  decltype(&kelp2_get_history_byid) get_history_byid;
  decltype(&kelp2_num_rows) num_rows;
  decltype(&kelp2_fetch_timed_value) fetch_timed_value;
  decltype(&kelp2_fetch_stat_value) fetch_stat_value;
  decltype(&kelp2_free_result) free_result;
  decltype(&kelp2_write_cache) write_cache;
  decltype(&kelp2_write_cache_one) write_cache_one;
  decltype(&kelp2_write_snap) write_snap;
  decltype(&kelp2_get_snap_byid) get_snap_byid;
};

const Real &real();

}  // namespace planted
