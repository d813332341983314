// Every demonstration by itself: what it shows and what it asks of the library, when all goes well
// and in every way in which it can fail. Each case is played with either display flag, over the
// default hook and over one that is told about hidden lines too.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "demos/demos.h"
#include "driver/argument.h"
#include "driver/connection.h"
#include "driver/output.h"
#include "fake.h"

namespace {

using fake::kept;
using Lines = std::vector<std::string>;
using Demo = void (*)(bool);

struct Setup {
  int nodes = 1;
  int points = 2;    // P1, P2 ... with the ids 11, 12 ...
  int seconds = 15;  // which makes two steps
  int option = 0;
  bool built = true;  // the lists of names and ids are filled
};

struct Case {
  const char *name;
  Demo demo;
  fake::Script script;
  // Shown lines behind a mark: a blank where the display flag decides whether it is seen, * where
  // it always is; ! and # are the same for a line that ends the process. Calls behind a >, several
  // in one entry separated by "; "; the calls are not compared if there are none.
  Lines expected;
  Setup setup = {};
};

const std::string one_name = ">new_group(); add_group_point(g1, P1); ";
const std::string two_names = one_name + "add_group_point(g1, P2); ";
const std::string two_nodes =
    ">new_group(); add_group_point(g1, W3.TESTNODE01); add_group_point(g1, W3.TESTNODE02); ";
const std::string line = " " + std::string(17, '-');
const std::string statistics =
    " int time: 1 \n short status: -1  \n double flow : 0.500000 \n double max   : 1.500000 \n"
    " double min   : 2.500000 \n int maxtime: 2 \n int mintime: 3 \n double avg  : 3.500000 \n"
    " double mean : 4.500000 \n double stdev: 5.500000 \n --------------------------------";
const std::string long_text(300, 'D');
const std::string name = " " + long_text.substr(0, 63);
const std::string afresh =
    "*delete_point_node_demo success!\n*insert node success!\n*insert point success!";
const std::string again =
    "*delete all node error!\n*delete_point_node_demo success!\n*insert node error!";
const std::string writing = " I'm writing realvalue, once every second ! \n ......";
const std::string go_on = " connect success, I will to write realvalue go on!\n ......";
const std::string try_again = "*connect error!\n*After 5 seconds, I will try connect again!";
const std::string reconnect = "init(5, 127.0.0.1, 8200, 30, tov, riverbank, NULL, 0)";

// The call that writes two points when `draws` random numbers were drawn before it.
std::string write_two(int32_t stamp, int draws) {
  double values[2];
  for (int i : {0, 1}) {
    values[i] = std::sin(i + stamp * 0.1) * 100.0 + 1000 * (draws + i) / 32767.0;
  }
  char call[200];
  std::snprintf(call, sizeof call, ">write_value(c1, 0, 2, [11,12], %d, [0,0], [%.10g,%.10g])",
                stamp, values[0], values[1]);
  return call;
}

// clang-format off
const Case cases[] = {
    {"connect", connect_demo, {}, {">init(0, 127.0.0.1, 8200, 30, tov, riverbank, NULL, 100)",
     " connect success!"}},
    {"usable_connection", connect_until_success, {}, {">status(c1)"}},
    {"close", close_kelp, {.results = {{"close", -1}}}, {">close(c1)"}},
    {"clock", get_system_time_demo, {.entries = {{"decode_time", {2013, 3, 7, 12, 0, 0}}}},
     {">get_system_time(c1); decode_time(1362657600)", " 2013-3-7 12:0:0",
     "*kelp2_get_system_time success!"}},
    {"databases", get_database_demo, {.results = {{"object_get_string#2", -4}}, .databases = {"A",
     "B", "C"}}, {">get_database(c1); object_get_string(o1, PN, 64)", " A",
     ">object_get_string(o2, PN, 64)", " kelp2_object_get_string error! ret = -4", " A",
     ">object_get_string(o3, PN, 64)", " C", ">free_list(3, [o1,o2,o3])",
     "*get_database_demo success!"}},
    {"no_databases", get_database_demo, {.databases = {}}, {">get_database(c1)", "!no database !"}},
    {"decode_encode", decode_encode_time_demo, {}, {">encode_time(2013, 2, 6, 1, 0, 0); "
     "decode_time(1000)", " decode_encode_time_demo success!"}},
    {"insert", insert_node_point_demo, {}, {">new_object(c1, TESTNODE01, 16); "
     "object_set_string(o1, ED, init:test node static info 00001); object_set_int(o1, FQ, 1); "
     "object_set_int(o1, AR, 1); object_set_double(o1, IV, 1); modify_object(c1, 2, W3, 1, [o1]); "
     "free_object(o1)", " insert node success!", ">new_object(c1, POINT00001, 32); "
     "modify_object(c1, 2, W3.TESTNODE01, 1, [o2]); free_object(o2); "
     "new_object(c1, POINT00002, 32); modify_object(c1, 2, W3.TESTNODE01, 1, [o3]); "
     "free_object(o3)", " insert point success!"}},
    {"no_point_object", insert_node_point_demo, {.results = {{"new_object", 1}}},
     {" insert node success!", ">new_object(c1, POINT00001, 32)", " creat point object error",
     "!insert point error! ret = 0, error = 0"}, {.nodes = -3}},
    {"ids", get_id_byname_demo, {.entries = {{"get_id_byname", {1234567, -5}}}}, {two_names +
     "get_id_byname(c1, g1); free_group(g1)", " 123456", " -5", "*kelp2_get_id_byname success!"}},
    {"write_value", write_realvalue_byid_demo, {.entries = {{"write_value", {-2, 1, -1}}}},
     {">write_value(c1, 0, 3, [11,12,13], 1400000000, [0,0,0], [0.123,1.123,2.123])",
     " id:11, write realvalue error! error= -2", " id:13, write realvalue error! error= -1",
     " write_realvalue_byid_demo success!"}, {.points = 3}},
    {"value_byid", read_realvalue_byid_demo, {.entries = {{"get_value_byid", {0, 7}}}},
     {">get_value_byid(c1, 2, [11,12])", " id:11, value = 0.500000", " id:12, read realvalue "
     "error!, error= 7", "*read_realvalue_byid_demo success!"}},
    {"value_byname", read_realvalue_byname_demo, {.entries = {{"get_value_byname", {-7}}}},
     {two_names + "get_value_byname(c1, g1)", " name:P1, read realvalue error!, error=-7",
     " name:P2, value = 1.500000", "*read_realvalue_byname_demo success!", ">free_group(g1)"}},
    {"write_history_byid", write_hisvalue_byid_demo, {.entries = {{"write_histroy_byid", {5}},
     {"write_histroy_byid#2", {kept}}}}, {">write_histroy_byid(c1, 0, 11, 2, "
     "[1346432400,1346432410], [0,0], [0.123,1.123])", " id = 11, kelp2_write_histroy_byid error! "
     "error = 5", ">write_histroy_byid(c1, 0, 12, 2, [1346432400,1346432410], [0,0], "
     "[0.123,1.123])", " id = 12, kelp2_write_histroy_byid error! error = 5",
     " kelp2_write_histroy_byid success!"}},
    {"write_history_byname", write_hisvalue_byname_demo, {.entries = {{"write_histroy_byname",
     {-5}}}}, {">write_histroy_byname(c1, 0, P1, 1, [1346436000], [0], [0.123])",
     " id = 11, write value  error! error=-5", " write_hisvalue_byname_demo success!"},
     {.points = 1, .seconds = 1}},
    {"history_byid", get_hisvalue_byid_demo, {.results = {{"num_rows#1", 2}, {"fetch_timed_value#2",
     1}}, .entries = {{"get_history_byid", {0, 3}}}}, {">get_history_byid(c1, 2, [11,12], [0,0], "
     "1346432400, 1346432415, 10)", " id = 12, get value  error! error=3",
     ">num_rows(r1); fetch_timed_value(r1)", " id = 11, value = 0.500000, stat = -1, time = 1001",
     ">fetch_timed_value(r1)", " id = 11, value = 0.500000, stat = -1, time = 1001",
     ">free_result(r1); num_rows(null); free_result(null)", "*get_hisvalue_byid_demo success"}},
    {"history_byname", get_hisvalue_byname_demo, {.results = {{"num_rows", -1}}}, {one_name +
     "get_history_byname(c1, g1, [0], 1346436000, 1346436015, 10); num_rows(r1); free_result(r1)",
     "*get_hisvalue_byname_demo success!", ">free_group(g1)"}, {.points = 1}},
    {"statistics_byid", get_statvalue_byid_demo, {.results = {{"num_rows", 2},
     {"fetch_stat_value#1", 1}, {"fetch_stat_value#2", -1}}}, {">get_history_byid(c1, 1, [11], "
     "[15], 1346432400, 1346432415, 10); num_rows(r1); fetch_stat_value(r1)", " id:11 ", statistics,
     ">fetch_stat_value(r1)", "!kelp2_fetch_stat_value  error! ret= -1"}, {.points = 1}},
    {"statistics_byname", get_statvalue_byname_demo, {.results = {{"fetch_stat_value#2", 2}}},
     {two_names + "get_history_byname(c1, g1, [15,15], 1346436000, 1346436015, 10); num_rows(r1); "
     "fetch_stat_value(r1)", " name:P1 ", statistics, ">free_result(r1); num_rows(r2); "
     "fetch_stat_value(r2)", "!kelp2_fetch_stat_value  error! ret= 2"}},
    // Null objects, and updates of which only one sign says that they failed.
    {"set_byid", set_static_info_byid_demo, {.results = {{"modify_object#2", 0}},
     .entries = {{"get_object_byid", {7}}, {"modify_object#1", {kept}}}},
     {">get_object_byid(c1, 2, [11,12])", " id = 11, get object error! error=7",
     ">object_set_string(null, ED, test static info 00001); object_set_int(null, HW, 1); "
     "object_set_double(null, IV, 1); modify_object(c1, 1, W3.TESTNODE01, 1, [null]); "
     "free_object(null); object_set_string(o1, ED, test static info 00002); "
     "object_set_int(o1, HW, 2); object_set_double(o1, IV, 2); "
     "modify_object(c1, 1, W3.TESTNODE01, 1, [o1]); free_object(o1)", "*set_static_info_byid_demo "
     "success!"}},
    {"get_byid", get_static_info_byid_demo, {.entries = {{"get_object_byid", {0, 3}}}},
     {">get_object_byid(c1, 2, [11,12])", " id = 12, get object error! error=3",
     ">object_get_string(o1, ED, 256); object_get_int(o1, HW); object_get_double(o1, IV)",
     " ID:11", " ED:text", " HW:1", " IV:0.500000", line, ">object_get_string(null, ED, 256); "
     "object_get_int(null, HW); object_get_double(null, IV)", " ID:12", " ED:text", " HW:2", " IV:0.500000",
     line, ">free_object(o1); free_object(null)", "*get_static_info_byid_demo success!"}},
    {"get_byname", get_static_info_byname_demo, {}, {one_name + "get_object_byname(c1, g1)",
     ">object_get_string(o1, ED, 256); object_get_int(o1, HW); "
     "object_get_double(o1, IV)", " name:P1", " ED:text", " HW:1", " IV:0.500000", line, ">free_object(o1)",
     "*get_static_info_byname_demo success!", ">free_group(g1)"}, {.points = 1}},
    {"set_nodes", set_node_static_info_byname_demo, {.results = {{"modify_object#2", 0}},
     .entries = {{"get_object_byname", {7}}, {"modify_object#1", {kept}}}}, {two_nodes +
     "get_object_byname(c1, g1)", " get object error! error=7", ">object_set_string(null, ED, "
     "modify:test new node static info 00001); object_set_int(null, FQ, 1); "
     "object_set_int(null, AR, 1); modify_object(c1, 1, W3, 1, [null]); free_object(null); "
     "object_set_string(o1, ED, modify:test new node static info 00002); "
     "object_set_int(o1, FQ, 2); object_set_int(o1, AR, 2); modify_object(c1, 1, W3, 1, [o1]); "
     "free_object(o1)", "*set_node_static_info_byname_demo success!", ">free_group(g1)"},
     {.nodes = 2}},
    {"get_nodes", get_node_static_info_byname_demo, {.description = long_text}, {two_nodes +
     "get_object_byname(c1, g1); object_get_string(o1, ED, 256); object_get_int(o1, FQ); "
     "object_get_int(o1, AR)", " ED:" + std::string(123, 'D'), " FQ:1", " AR:2", line,
     ">object_get_string(o2, ED, 256); object_get_int(o2, FQ); object_get_int(o2, AR)", " ED:" +
     std::string(123, 'D'), " FQ:3", " AR:4", line, ">free_object(o1); free_object(o2)",
     "*get_node_static_info_byname_demo success!", ">free_group(g1)"}, {.nodes = 2}},
    {"cache", write_cache_byid_demo, {.entries = {{"write_cache#1", {0, 6}}}},
     {">write_cache(c1, 0, 2, [11,11], [1346439600,1346439610], [0,0], [0.123,1.123])",
     " id = 11, write cache error! error=6", ">write_cache(c1, 0, 2, [12,12], "
     "[1346439600,1346439610], [0,0], [0.123,1.123])", "*write_cache_byid_demo success!"}},
    {"cache_one", write_cache_one_byid_demo, {.entries = {{"write_cache_one", {-8}}}},
     {">write_cache_one(c1, 0, 11, 2, [1346443200,1346443210], [0,0], [0.123,1.123])",
     " id = 11, write cache one  error! error=-8", "*write_cache_one_byid_demo success!"},
     {.points = 1}},
    {"write_snap", write_snap_byid_demo, {.entries = {{"write_snap#2", {0, 5}}}},
     {">write_snap(c1, 0, 2, [11,12], 1346446800, [0,0], [0.123,0.123]); "
     "write_snap(c1, 0, 2, [11,12], 1346446810, [0,0], [1.123,1.123])",
     " id = 12, write snap  error! error=5", "*write_snap_byid_demo success!"}},
    {"snap_byid", get_snap_byid_demo, {.entries = {{"get_snap_byid#1", {0, 4}}}},
     {">get_snap_byid(c1, 2, [11,12], 1346446800)", " id:11, value = 0.500000",
     " id:12, get snap error! error=4", ">get_snap_byid(c1, 2, [11,12], 1346446810)",
     " id:11, value = 0.500000", " id:12, value = 1.500000", "*get_snap_byid_demo success!"}},
    {"snap_byname", get_snap_byname_demo, {.entries = {{"get_snap_byname", {-4}}}}, {one_name +
     "get_snap_byname(c1, g1, 1346446800)", " id:11, get snap error! error=-4",
     "*get_snap_byname_demo success!", ">free_group(g1)"}, {.points = 1, .seconds = 1}},
    {"empty_range", write_hisvalue_byid_demo, {}, {">write_histroy_byid(c1, 0, 11, 0, [], [], [])",
     " kelp2_write_histroy_byid success!"}, {.points = 1, .seconds = -200}},
    {"teardown", delete_point_node_demo, {.results = {{"children#1", 2}, {"children#2", -1},
     {"modify_object#2", 1}}, .entries = {{"modify_object#1", {0, 1}}, {"modify_object#2", {3,
     kept}}, {"get_object_byname", {0, 2}}}}, {">new_group(); add_group_point(g1, W3.TESTNODE01); "
     "get_child(c1, W3.TESTNODE01); modify_object(c1, 3, W3.TESTNODE01, 2, [o1,o2])",
     " delete point error, it's parent's name = W3.TESTNODE01", ">free_list(2, [o1,o2]); "
     "add_group_point(g1, W3.TESTNODE02); get_child(c1, W3.TESTNODE02); get_object_byname(c1, g1)",
     " get object error!", ">modify_object(c1, 3, W3, 2, [o3,null])", " delete all node error!",
     " delete node error!", " delete node error!", ">free_object(o3); free_object(null)",
     " delete_point_node_demo success!", ">free_group(g1)"}, {.nodes = 2}},
    // From here on only the lines matter.
    {"database_list", get_database_demo, {.results = {{"get_database", -5}}},
     {" kelp2_get_database error! ret = -5", "!no database !"}},
    {"database_name", get_database_demo, {.results = {{"object_get_string", 3}}},
     {" kelp2_object_get_string error! ret = 3", " ", "*get_database_demo success!"}},
    {"negative_databases", get_database_demo, {.results = {{"databases", -3}}}, {"!no database !"}},
    {"twelve_databases", get_database_demo, {.databases = Lines(12, long_text)}, {name, name, name,
     name, name, name, name, name, name, name, "*get_database_demo success!"}},
    {"decoded_wrongly", decode_encode_time_demo, {.entries = {{"decode_time", {2013, 2, 6, 1, 0,
     1}}}}, {" kelp2_encode_time or kelp2_decode_time error!"}},
    {"no_node_object", insert_node_point_demo, {.results = {{"new_object#1", 1}}},
     {" creat node object error", " insert node error!", afresh}},
    {"second_node", insert_node_point_demo, {.results = {{"modify_object#2", 0}}},
     {" insert node error!", afresh}, {.nodes = 2, .built = false}},
    {"node_entry", insert_node_point_demo, {.entries = {{"modify_object#1", {1}},
     {"modify_object#2", {1}}}}, {" insert node error!", "*delete node error!", afresh}},
    {"nodes_never", insert_node_point_demo, {.results = {{"modify_object", 2}, {"get_child#3",
     -6}}}, {" insert node error!", again, again, "#while delete point , kelp2_get_child error! "
     "ret= -6"}},
    {"point_result", insert_node_point_demo, {.results = {{"modify_object#2", -2}}},
     {" insert node success!", "!insert point error! ret = -2, error = 0"}},
    {"point_entry", insert_node_point_demo, {.entries = {{"modify_object#2", {4}}}},
     {" insert node success!", "!insert point error! ret = 1, error = 4"}},
    // A lookup that fails for an entry, which the update that does nothing leaves as it was.
    {"update_points", set_static_info_byid_demo, {.results = {{"modify_object", 0}},
     .entries = {{"get_object_byid", {7}}, {"modify_object", {kept}}}},
     {" id = 11, get object error! error=7", "!kelp2_modify_object error!"}},
    {"update_nodes", set_node_static_info_byname_demo, {.results = {{"modify_object", 0}},
     .entries = {{"get_object_byname", {7}}, {"modify_object", {kept}}}},
     {" get object error! error=7", "!kelp2_modify_object error!"}},
    {"delete_points", delete_point_node_demo, {.results = {{"children", 2}, {"modify_object", 1}}},
     {"!delete point error!"}},
    {"cut_long", get_hisvalue_byid_demo, {.value = 1e300}, {(" id = 11, value = " +
     std::to_string(1e300)).substr(0, 255), "*get_hisvalue_byid_demo success"}, {.points = 1}},
    {"cut", read_realvalue_byid_demo, {.value = 1e300}, {(" id:11, value = " +
     std::to_string(1e300)).substr(0, 127), "*read_realvalue_byid_demo success!"}, {.points = 1}},
    // The continuous writer: stamps, reconnections, refused points.
    {"writer", write_realvalue_every_second, {.results = {{"write_value#2", -1}},
     .entries = {{"write_value", {-3, 2}}, {"write_value#3", {kept, kept}}}, .sleeps = 3}, {writing,
     write_two(1400000000, 0), " id:11, write realvalue error!", ">sleep(1)", write_two(1400000001,
     2), " kelp2_write_value error!", ">status(c1)", go_on, " id:11, write realvalue error!",
     ">sleep(1)", write_two(1400000003, 4), ">sleep(1)"}},
    {"writer_reconnects", write_realvalue_every_second, {.results = {{"write_value#1", 5},
     {"status", 1}, {"init#1", 1}, {"init#2", 1}}, .sleeps = 4}, {writing,
     ">write_value(c1, 0, 0, [], 1400000000, [], [])", " kelp2_write_value error!",
     ">status(c1); " + reconnect, try_again, ">sleep(5); status(null); " + reconnect, try_again,
     ">sleep(5); status(null); " + reconnect, "*connect success!", go_on, ">sleep(1)",
     ">write_value(c2, 0, 0, [], 1400000013, [], [])", ">sleep(1)"}, {.points = 0, .option = 5}},
    {"writer_unwatched", write_realvalue_every_second, {.results = {{"write_value", -1}},
     .entries = {{"write_value", {-3}}}, .sleeps = 2}, {writing, write_two(1400000000, 0),
     ">sleep(1)", write_two(1400000001, 2), ">sleep(1)"}, {.option = 9}},
};

// What shows a line and ends the process when a call gives -5.
const struct { const char *operation; Demo demo; const char *shown; } failures[] = {
    {"get_system_time", get_system_time_demo, "kelp2_get_system_time error! ret = -5"},
    {"init", connect_demo, "connect error!"},
    {"get_id_byname", get_id_byname_demo, "kelp2_get_id_byname error! ret = -5"},
    {"write_value", write_realvalue_byid_demo, "kelp2_write_value error! ret = -5"},
    {"get_value_byid", read_realvalue_byid_demo, "kelp2_get_value_byid error! ret= -5"},
    {"get_value_byname", read_realvalue_byname_demo, "kelp2_get_value_byname error! ret= -5"},
    {"write_histroy_byid", write_hisvalue_byid_demo, "kelp2_write_histroy_byid  error! ret= -5"},
    {"write_histroy_byname", write_hisvalue_byname_demo, "kelp2_write_histroy_byname  error! ret= "
     "-5"},
    {"get_history_byid", get_hisvalue_byid_demo, "kelp2_get_history_byid  error! ret= -5"},
    {"get_history_byid", get_statvalue_byid_demo, "kelp2_get_histroy_byid  error! ret= -5"},
    {"get_history_byname", get_hisvalue_byname_demo, "kelp2_get_histroy_byname  error! ret= -5"},
    {"get_history_byname", get_statvalue_byname_demo, "kelp2_get_histroy_byname  error! ret= -5"},
    {"get_object_byid", set_static_info_byid_demo, "kelp2_get_object_byid  error! ret= -5"},
    {"get_object_byname", set_static_info_byname_demo, "kelp2_get_object_byname  error! ret= -5"},
    {"get_object_byname", set_node_static_info_byname_demo, "kelp2_get_object_byname  error! ret= "
     "-5"},
    {"write_cache", write_cache_byid_demo, "kelp2_write_cache  error! ret= -5"},
    {"write_cache_one", write_cache_one_byid_demo, "kelp2_write_cache_one  error! ret= -5"},
    {"write_snap", write_snap_byid_demo, "kelp2_write_snap  error! ret= -5"},
    {"get_snap_byid", get_snap_byid_demo, "kelp2_get_snap_byid  error! ret= -5"},
    {"get_snap_byname", get_snap_byname_demo, "kelp2_get_snap_byname  error! ret= -5"},
    {"get_child", delete_point_node_demo, "while delete point , kelp2_get_child error! ret= -5"},
    {"get_object_byname", delete_point_node_demo,
     "while delete node, kelp2_get_object_byname  error! ret= -5"},
};
// clang-format on

void prepare(const Setup &setup) {
  argument_.handle = fake::open_connection();
  argument_.node_num = setup.nodes;
  argument_.point_num = setup.points;
  argument_.end_time = argument_.begin_time + setup.seconds;
  argument_.option = setup.option;
  for (int i = 1; i <= setup.points && setup.built; ++i) {
    argument_.point_names.push_back("P" + std::to_string(i));
    argument_.point_ids.push_back(10 + i);
  }
}

void print_with_flag(bool flag, const char *text) {
  std::printf("%s: %s\n", flag ? "seen" : "hidden", text);
}

std::string expected(const Case &c, bool display, bool with_flag) {
  std::string all, text;
  for (const std::string &entry : c.expected) all += entry + "\n";
  for (size_t at = 0; (at = all.find("); ", at)) != all.npos;) all.replace(at, 3, ")\n>");
  std::istringstream lines(all);
  char mark = ' ';
  for (std::string shown; std::getline(lines, shown);) {
    mark = shown[0];
    const bool seen = display || mark == '*' || mark == '#';
    if (mark == '>') {
      text += shown + "\n";
    } else if (seen || with_flag) {
      text += (with_flag ? (seen ? "seen: " : "hidden: ") : "") + shown.substr(1) + "\n";
    }
  }
  return text + (mark == '!' || mark == '#' || c.script.sleeps > 0 ? "" : ">returned\n");
}

void check(Case c) {
  c.script.shows_calls = std::any_of(c.expected.begin(), c.expected.end(),
                                     [](const std::string &entry) { return entry[0] == '>'; });
  for (const int variant : {0, 1, 2, 3}) {
    const bool display = (variant & 1) != 0, with_flag = (variant & 2) != 0;
    const auto body = [&] {
      prepare(c.setup);
      if (with_flag) display_result = print_with_flag;
      c.demo(display);
    };
    EXPECT_EQ(fake::play(c.script, body), expected(c, display, with_flag)) << c.name << variant;
  }
}

TEST(Demonstrations, ShowAndCall) {
  for (const Case &c : cases) check(c);
}

TEST(Demonstrations, EndTheProcessWhenACallFails) {
  for (const auto &[operation, demo, shown] : failures) {
    check({operation, demo, {.results = {{operation, -5}}}, {std::string("!") + shown}});
  }
}

}  // namespace
