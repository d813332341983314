// A libkelpapi2 that does nothing: with it in the place of the real one, what a run of kelptest
// takes is kelptest's own. Everything succeeds, and every history has 360 rows. Arrays are left as
// kelptest clears them, objects and results are null.
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

}  // namespace

// The parameters, which hardly any of these look at, are named in the header.
using C = ConnectionHandle;
using G = GroupHandle;
using O = ObjectHandle;
using R = ResultHandle;
using I = int32_t;
using Ids = const int32_t *;
using Ins = const int16_t *;
using Reals = const double *;
using Text = const char *;

C kelp2_init(I, Text, I, I, Text, Text, Text, I) { return &the_connection; }
I kelp2_status(C) { return 0; }
I kelp2_close(C) { return 0; }
I kelp2_get_system_time(C, I *time) { return *time = 0; }
I kelp2_encode_time(I, I, I, I, I, I) { return 0; }
I kelp2_decode_time(I, I *, I *, I *, I *, I *, I *) { return 0; }
I kelp2_get_database(C, I *count, O **list) { return *count = 1, *list = the_databases, 0; }
I kelp2_free_list(I, O *) { return 0; }

G kelp2_new_group(void) { return new kelp2_group; }
I kelp2_add_group_point(G group, Text) { return ++group->names, 0; }
I kelp2_free_group(G group) { return delete group, 0; }
O kelp2_new_object(C, Text, I) { return &the_object; }
I kelp2_object_set_string(O, Text, Text) { return 0; }
I kelp2_object_set_int(O, Text, I) { return 0; }
I kelp2_object_set_double(O, Text, double) { return 0; }
I kelp2_object_get_string(O, Text, char *text, I size) {
  return std::snprintf(text, size, "W3"), 0;
}
I kelp2_object_get_int(O, Text) { return 0; }
double kelp2_object_get_double(O, Text) { return 0; }
I kelp2_modify_object(C, I, Text, I count, O *, I *) { return count; }
I kelp2_get_object_byid(C, I, Ids, O *, I *) { return 0; }
I kelp2_get_object_byname(C, G, O *, I *) { return 0; }
I kelp2_get_child(C, Text, I *count, O **) { return *count = 0; }
I kelp2_get_id_byname(C, G group, I *ids) { return std::iota(ids, ids + group->names, 1), 0; }
I kelp2_free_object(O) { return 0; }

I kelp2_write_value(C, I, I, Ids, I, Ins, Reals, I *) { return 0; }
I kelp2_get_value_byid(C, I, Ids, I *, int16_t *, double *, I *) { return 0; }
I kelp2_get_value_byname(C, G, I *, int16_t *, double *, I *) { return 0; }
I kelp2_write_histroy_byid(C, I, I, I, Ids, Ins, Reals, I *) { return 0; }
I kelp2_write_histroy_byname(C, I, Text, I, Ids, Ins, Reals, I *) { return 0; }
I kelp2_get_history_byid(C, I, Ids, Ids, I, I, I, R *, I *) { return 0; }
I kelp2_get_history_byname(C, G, Ids, I, I, I, R *, I *) { return 0; }
I kelp2_num_rows(R) { return 360; }
I kelp2_fetch_timed_value(R, I *, int16_t *, double *) { return 0; }
I kelp2_fetch_stat_value(R, StatValue *) { return 0; }
I kelp2_free_result(R) { return 0; }

I kelp2_write_cache(C, I, I, Ids, Ids, Ins, Reals, I *) { return 0; }
I kelp2_write_cache_one(C, I, I, I, Ids, Ins, Reals, I *) { return 0; }
I kelp2_write_snap(C, I, I, Ids, I, Ins, Reals, I *) { return 0; }
I kelp2_get_snap_byid(C, I, Ids, I, int16_t *, double *, I *) { return 0; }
I kelp2_get_snap_byname(C, G, I, int16_t *, double *, I *) { return 0; }
