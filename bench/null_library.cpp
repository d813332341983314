// A libkelpapi2 that does nothing: if it takes the place of the real one, what a run of kelptest
// takes is the time of kelptest itself. Everything succeeds, and every history has 360 rows. Arrays
// are left as kelptest clears them, objects and results are null.
#include <kelpapi2.h>

#include <cstdio>
#include <numeric>

struct kelp2_connection {};
struct kelp2_object {};
struct kelp2_group {
  int32_t names = 0;
};

namespace {

kelp2_connection the_connection;
kelp2_object the_object;
ObjectHandle the_databases[1];
constexpr int32_t kRows = 360;

}  // namespace

// The parameters, which hardly any of these look at, are named in the header.

ConnectionHandle kelp2_init(int32_t, const char *, int32_t, int32_t, const char *, const char *,
                            const char *, int32_t) {
  return &the_connection;
}

int32_t kelp2_status(ConnectionHandle) { return 0; }

int32_t kelp2_close(ConnectionHandle) { return 0; }

int32_t kelp2_get_system_time(ConnectionHandle, int32_t *time) {
  *time = 0;
  return 0;
}

int32_t kelp2_encode_time(int32_t, int32_t, int32_t, int32_t, int32_t, int32_t) { return 0; }

int32_t kelp2_decode_time(int32_t, int32_t *, int32_t *, int32_t *, int32_t *, int32_t *,
                          int32_t *) {
  return 0;
}

int32_t kelp2_get_database(ConnectionHandle, int32_t *count, ObjectHandle **list) {
  *count = 1;
  *list = the_databases;
  return 0;
}

int32_t kelp2_free_list(int32_t, ObjectHandle *) { return 0; }

GroupHandle kelp2_new_group(void) { return new kelp2_group; }

int32_t kelp2_add_group_point(GroupHandle group, const char *) {
  ++group->names;
  return 0;
}

int32_t kelp2_free_group(GroupHandle group) {
  delete group;
  return 0;
}

ObjectHandle kelp2_new_object(ConnectionHandle, const char *, int32_t) { return &the_object; }

int32_t kelp2_object_set_string(ObjectHandle, const char *, const char *) { return 0; }

int32_t kelp2_object_set_int(ObjectHandle, const char *, int32_t) { return 0; }

int32_t kelp2_object_set_double(ObjectHandle, const char *, double) { return 0; }

int32_t kelp2_object_get_string(ObjectHandle, const char *, char *buffer, int32_t size) {
  std::snprintf(buffer, size, "W3");
  return 0;
}

int32_t kelp2_object_get_int(ObjectHandle, const char *) { return 0; }

double kelp2_object_get_double(ObjectHandle, const char *) { return 0; }

int32_t kelp2_modify_object(ConnectionHandle, int32_t, const char *, int32_t count, ObjectHandle *,
                            int32_t *) {
  return count;
}

int32_t kelp2_get_object_byid(ConnectionHandle, int32_t, const int32_t *, ObjectHandle *,
                              int32_t *) {
  return 0;
}

int32_t kelp2_get_object_byname(ConnectionHandle, GroupHandle, ObjectHandle *, int32_t *) {
  return 0;
}

int32_t kelp2_get_child(ConnectionHandle, const char *, int32_t *count, ObjectHandle **) {
  *count = 0;
  return 0;
}

int32_t kelp2_get_id_byname(ConnectionHandle, GroupHandle group, int32_t *ids) {
  std::iota(ids, ids + group->names, 1);
  return 0;
}

int32_t kelp2_free_object(ObjectHandle) { return 0; }

int32_t kelp2_write_value(ConnectionHandle, int32_t, int32_t, const int32_t *, int32_t,
                          const int16_t *, const double *, int32_t *) {
  return 0;
}

int32_t kelp2_get_value_byid(ConnectionHandle, int32_t, const int32_t *, int32_t *, int16_t *,
                             double *, int32_t *) {
  return 0;
}

int32_t kelp2_get_value_byname(ConnectionHandle, GroupHandle, int32_t *, int16_t *, double *,
                               int32_t *) {
  return 0;
}

int32_t kelp2_write_histroy_byid(ConnectionHandle, int32_t, int32_t, int32_t, const int32_t *,
                                 const int16_t *, const double *, int32_t *) {
  return 0;
}

int32_t kelp2_write_histroy_byname(ConnectionHandle, int32_t, const char *, int32_t,
                                   const int32_t *, const int16_t *, const double *, int32_t *) {
  return 0;
}

int32_t kelp2_get_history_byid(ConnectionHandle, int32_t, const int32_t *, const int32_t *, int32_t,
                               int32_t, int32_t, ResultHandle *, int32_t *) {
  return 0;
}

int32_t kelp2_get_history_byname(ConnectionHandle, GroupHandle, const int32_t *, int32_t, int32_t,
                                 int32_t, ResultHandle *, int32_t *) {
  return 0;
}

int32_t kelp2_num_rows(ResultHandle) { return kRows; }

int32_t kelp2_fetch_timed_value(ResultHandle, int32_t *, int16_t *, double *) { return 0; }

int32_t kelp2_fetch_stat_value(ResultHandle, StatValue *) { return 0; }

int32_t kelp2_free_result(ResultHandle) { return 0; }

int32_t kelp2_write_cache(ConnectionHandle, int32_t, int32_t, const int32_t *, const int32_t *,
                          const int16_t *, const double *, int32_t *) {
  return 0;
}

int32_t kelp2_write_cache_one(ConnectionHandle, int32_t, int32_t, int32_t, const int32_t *,
                              const int16_t *, const double *, int32_t *) {
  return 0;
}

int32_t kelp2_write_snap(ConnectionHandle, int32_t, int32_t, const int32_t *, int32_t,
                         const int16_t *, const double *, int32_t *) {
  return 0;
}

int32_t kelp2_get_snap_byid(ConnectionHandle, int32_t, const int32_t *, int32_t, int16_t *,
                            double *, int32_t *) {
  return 0;
}

int32_t kelp2_get_snap_byname(ConnectionHandle, GroupHandle, int32_t, int16_t *, double *,
                              int32_t *) {
  return 0;
}
