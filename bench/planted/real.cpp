#include "real.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace planted {

namespace {

void *open_real() {
  const char *path = std::getenv("KELP_PLANTED_REAL");
  if (path == nullptr) path = PLANTED_REAL_LIBRARY;
  void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library != nullptr) return library;
  std::fprintf(stderr, "planted: %s\n", dlerror());
  std::abort();
}

template <class Operation>
void load(void *library, const char *name, Operation &operation) {
  operation = reinterpret_cast<Operation>(dlsym(library, name));
  if (operation != nullptr) return;
  std::fprintf(stderr, "planted: the real library has no %s\n", name);
  std::abort();
}

}  // namespace

Real::Real() {
  void *library = open_real();
  load(library, "kelp2_init", init);
  load(library, "kelp2_status", status);
  load(library, "kelp2_close", close);
  load(library, "kelp2_get_system_time", get_system_time);
  load(library, "kelp2_encode_time", encode_time);
  load(library, "kelp2_decode_time", decode_time);
  load(library, "kelp2_get_database", get_database);
  load(library, "kelp2_free_list", free_list);
  load(library, "kelp2_new_group", new_group);
  load(library, "kelp2_add_group_point", add_group_point);
  load(library, "kelp2_free_group", free_group);
  load(library, "kelp2_new_object", new_object);
  load(library, "kelp2_object_set_string", object_set_string);
  load(library, "kelp2_object_set_int", object_set_int);
  load(library, "kelp2_object_set_double", object_set_double);
  load(library, "kelp2_object_get_string", object_get_string);
  load(library, "kelp2_object_get_int", object_get_int);
  load(library, "kelp2_object_get_double", object_get_double);
  load(library, "kelp2_modify_object", modify_object);
  load(library, "kelp2_get_object_byid", get_object_byid);
  load(library, "kelp2_get_object_byname", get_object_byname);
  load(library, "kelp2_get_child", get_child);
  load(library, "kelp2_get_id_byname", get_id_byname);
  load(library, "kelp2_free_object", free_object);
  load(library, "kelp2_write_value", write_value);
  load(library, "kelp2_get_value_byid", get_value_byid);
  load(library, "kelp2_write_histroy_byid", write_histroy_byid);
  load(library, "kelp2_get_history_byid", get_history_byid);
  load(library, "kelp2_num_rows", num_rows);
  load(library, "kelp2_fetch_timed_value", fetch_timed_value);
  load(library, "kelp2_fetch_stat_value", fetch_stat_value);
  load(library, "kelp2_free_result", free_result);
  load(library, "kelp2_write_cache", write_cache);
  load(library, "kelp2_write_cache_one", write_cache_one);
  load(library, "kelp2_write_snap", write_snap);
  load(library, "kelp2_get_snap_byid", get_snap_byid);
}

const Real &real() {
  static const Real library;
  return library;
}

}  // namespace planted
