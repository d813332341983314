// The command line and whole runs: what the operator sees from the first banner on.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <tuple>

#include "child.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/registry.h"

namespace {

using Words = std::vector<std::string>;

// Calls a function that takes a command line.
int with_command_line(const Words &words, const std::function<int(int, char **)> &function) {
  std::vector<char *> arguments{const_cast<char *>("kelptest")};
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  const int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  return function(count, arguments.data());
}

std::string run_with(const Words &words, const fake::Script &script) {
  return play(script, [&] { std::exit(with_command_line(words, run)); });
}

Words fields(const Argument &a) {
  const auto number = [](int32_t value) { return std::to_string(value); };
  return {"host=" + a.host,
          "port=" + number(a.port),
          "user=" + a.user,
          "password=" + a.password,
          "option=" + number(a.option),
          "size=" + number(a.buf_size),
          "route=" + a.buf_route,
          "database=" + a.database,
          "points=" + number(a.point_num),
          "nodes=" + number(a.node_num),
          "type=" + number(a.point_type),
          "begin=" + number(a.begin_time),
          "end=" + number(a.end_time)};
}

TEST(CommandLine, SetsFields) {
  const struct {
    Words words;
    std::string expected;  // whether it is accepted, and what changed
  } cases[] = {
      {{}, "yes"},
      {{"-HA", "-C1", "-UB", "-PC", "-O8", "-LD", "-S2", "-DE", "-N3", "-X4"},
       "yes host=A port=1 user=B password=C option=8 size=2 route=D database=E points=4"
       " nodes=3"},
      {{"-h10.0.0.7"}, "yes host=10.0.0.7"},
      {{"-H", "10.0.0.7"}, "no host="},
      {{"xC100"}, "yes port=100"},
      {{"-C"}, "yes port=0"},
      {{"-C 12x", "-o-3", "-s+4"}, "yes port=12 option=-3 size=4"},
      {{"-X5", "-X7"}, "yes points=7"},
      {{"-N-2", "-Xmany"}, "yes points=0 nodes=-2"},
      {{"-N99999999999999999999", "-X-2147483649"}, "yes points=-2147483648 nodes=2147483647"},
      {{"-T36", "-T37", "-T31", "-Tabc", "-T4294967329"}, "yes type=36"},
      {{"-t33"}, "yes type=33"},
      {{"-C7", "-Q1", "-X5"}, "no port=7"},
      {{"-C7", "--help"}, "no port=7"},
      {{"--hel"}, "no"},
      {{"--help", "-C7"}, "no"},
      {{""}, "no"},
      {{"-"}, "no"},
      {{"-B20130307123456789"}, ">encode_time(2013, 3, 7, 12, 34, 56)\nyes begin=1000"},
      {{"-e2013030712345"}, ">encode_time(2013, 3, 7, 12, 34, 5)\nyes end=1000"},
      {{"-B201303071234"}, ">encode_time(2013, 3, 7, 12, 34, 0)\nyes begin=1000"},
      {{"-B20130307123"}, "no"},
      {{"-E"}, "no"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(play({},
                   [&] {
                     std::string text =
                         with_command_line(c.words, analyze_args) != 0 ? "yes" : "no";
                     const Words now = fields(argument_), before = fields({});
                     for (size_t i = 0; i < now.size(); ++i) {
                       if (now[i] != before[i]) text += " " + now[i];
                     }
                     std::puts(text.c_str());
                   }),
              c.expected + "\n>returned\n");
  }
  for (const char letter : std::string("AFGIJKMQRVWYZ-1?")) {
    EXPECT_EQ(run_with({std::string("-") + letter + "1"}, {}),
              "please input \"kelptest --help\" for help!\n");
  }
}

TEST(CommandLine, PrintsTheUsage) {
  for (const char *word : {"--help", "--helpme"}) {
    EXPECT_EQ(run_with({word}, {}), R"(kelpdemo [OPTION]...
-O, option;   ag:-O8
-H, hostname; ag:-H127.0.0.1
-C, port;     ag:-C8200
-U, user;     ag:-Utov
-P, password; ag:-Priverbank
-L, kelpbuf's route; ag:-L/tmp/kelpbuf
-S, kelpbuf's size; ag:-S100
-D, database's name; ag:-DW3
-N, node num; ag:-N1
-X, point num; ag:-X50
-B, begin time; ag:-B20130307120000
-E, end time; ag:-E20130307130000
-T, insert point type(AX,DX,I2,I4,R8); ag:-T32  (32 is 'AX')

)");
  }
}

const Words names = {"connect_demo",
                     "get_system_time_demo",
                     "get_database_demo",
                     "decode_encode_time_demo",
                     "insert_node_point_demo",
                     "get_id_byname_demo",
                     "write_realvalue_byid_demo",
                     "read_realvalue_byid_demo",
                     "read_realvalue_byname_demo",
                     "write_hisvalue_byid_demo",
                     "get_hisvalue_byid_demo",
                     "write_hisvalue_byname_demo",
                     "get_hisvalue_byname_demo",
                     "get_statvalue_byid_demo",
                     "get_statvalue_byname_demo",
                     "set_static_info_byid_demo",
                     "set_node_static_info_byname_demo",
                     "get_node_static_info_byname_demo",
                     "set_static_info_byname_demo",
                     "get_static_info_byid_demo",
                     "get_static_info_byname_demo",
                     "write_cache_byid_demo",
                     "write_cache_one_byid_demo",
                     "write_snap_byid_demo",
                     "get_snap_byid_demo",
                     "get_snap_byname_demo",
                     "write_realvalue_every_second",
                     "delete_point_node_demo",
                     "close_kelp"};
// What the others show is their name and " success!".
const std::map<std::string, std::string> shown = {
    {"connect_demo", "connect success!\n"},
    {"get_system_time_demo", "2013-2-6 1:0:0\nkelp2_get_system_time success!\n"},
    {"get_database_demo", "W3\nget_database_demo success!\n"},
    {"insert_node_point_demo", "insert node success!\ninsert point success!\n"},
    {"get_id_byname_demo", "kelp2_get_id_byname success!\n"},
    {"write_hisvalue_byid_demo", "kelp2_write_histroy_byid success!\n"},
    {"get_hisvalue_byid_demo", "get_hisvalue_byid_demo success\n"},
    {"write_realvalue_every_second", "I'm writing realvalue, once every second ! \n......\n"},
    {"close_kelp", ""}};

// What the first entries of a run show.
std::string first_entries(size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    const std::string &name = names[i];
    const std::string banner = std::string(29, '-') + std::to_string(i + 1) + ". " + name;
    text += "\n" + banner + std::string(78 - banner.size(), '-') + "\n";
    text += shown.contains(name) ? shown.at(name) : name + " success!\n";
  }
  return text;
}

int count_of(const std::string &text, const std::string &part) {
  int count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != text.npos; ++at) ++count;
  return count;
}

TEST(Run, ShowsTheSameForAnyTree) {
  EXPECT_EQ(seed, static_cast<unsigned>(start_time));
  for (const Words &words :
       {Words{}, {"-N2", "-X3"}, {"-N0"}, {"-N-5", "-X-1"}, {"-B201301010000", "-E201301010000"}}) {
    EXPECT_EQ(run_with(words, {.shows_calls = false, .sleeps = 2}),
              first_entries(27) + ">sleep(1)\n>sleep(1)\n");
  }
}

TEST(Run, CallsForEveryNodePointAndStep) {
  const std::string text = run_with({"-N2", "-X3", "-T35"}, {.sleeps = 1});
  const std::map<std::string, int> calls = {
      {">new_object(c1, POINT00003, 35)", 1},
      {">modify_object(c1, 2, W3.TESTNODE02, 1, [", 1},
      {">modify_object(c1, 1, W3.TESTNODE02, 1, [", 2},
      {">add_group_point(g1, W3.TESTNODE02.POINT00003)", 1},
      {">get_history_byid(c1, 3, [11,12,13], [0,0,0], 1346432400, 1346436000, 10)", 1},
      {">get_history_byid(c1, 3, [11,12,13], [15,15,15], 1346432400, 1346436000, 10)", 1},
      {">write_histroy_byid(c1, 0, 13, 360, [1346432400,1346432410,", 1},
      {"1346435980,1346435990], [0,0,", 3},
      {"1346439590], [0,0,", 3},
      {"1346443190], [0,0,", 3},
      {"1346446790], [0,0,", 3},
      {",358.123,359.123])", 12},
      {">write_snap(", 360},
      {">write_snap(c1, 0, 3, [11,12,13], 1346450390, [0,0,0], [359.123,359.123,359.123])", 1},
      {">get_snap_byid(", 10},
      {">get_snap_byname(c1, g9, 1346446890)", 1}};
  for (const auto &[call, count] : calls) EXPECT_EQ(count_of(text, call), count) << call;
}

TEST(Run, EndsSilentlyInAHiddenDemonstration) {
  const std::string until = first_entries(8);
  EXPECT_EQ(run_with({}, {.results = {{"get_value_byid", -1}}, .shows_calls = false}),
            until.substr(0, until.rfind("read_realvalue_byid_demo success!")));
}

TEST(Run, HasTwoEntriesAfterTheWriter) {
  const auto run_but_writer = [] {
    add();
    demo_globle[26].func = [](bool display) {
      print(display, "I'm writing realvalue, once every second ! \n......");
    };
    for (const Demo &demo : demo_globle) run_demo(demo);
  };
  EXPECT_EQ(play({.shows_calls = false}, run_but_writer), first_entries(29) + ">returned\n");
}

TEST(Tree, SpreadsPointsOverNodes) {
  const std::map<std::pair<int, int>, std::string> spread = {
      {{1, 50}, " 50"},    {{2, 10}, " 6 4"}, {{3, 3}, " 2 1"}, {{3, 7}, " 3 3 1"},
      {{4, 10}, " 4 3 3"}, {{10, 1}, " 1"},   {{0, 1}, " 1"},   {{10, 50}, " 6 6 6 6 6 6 6 6 2"},
      {{0, 2}, " 2"},      {{-4, 5}, " 5"}};
  for (const auto &[tree, expected] : spread) {
    std::tie(argument_.node_num, argument_.point_num) = tree;
    std::map<int, int> in_node;
    for (int point = 1; point <= tree.second; ++point) ++in_node[parent_node(point)];
    std::string text;
    for (const auto &[node, points] : in_node) text += " " + std::to_string(points);
    EXPECT_EQ(text, expected) << tree.first << " " << tree.second;
    EXPECT_EQ(in_node.rbegin()->first, static_cast<int>(in_node.size()));
  }
  argument_.node_num = argument_.point_num = 100000;
  EXPECT_EQ(point_full_name(100000), "W3.TESTNODE50000.POINT100000");
  argument_.database = std::string(300, 'D');
  EXPECT_EQ(point_full_name(1), std::string(254, 'D'));
  argument_ = {};
}

TEST(Output, CutsNumbersToSixCharacters) {
  char buffer[7];
  for (const auto &[number, text] : std::vector<std::pair<int32_t, std::string>>{
           {0, "0"}, {-5, "-5"}, {123456, "123456"}, {1234567, "123456"}, {INT32_MIN, "-21474"}}) {
    EXPECT_EQ(itoa(number, buffer), text);
  }
}

}  // namespace
