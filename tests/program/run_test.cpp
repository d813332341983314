// The command line and whole runs: what the operator sees from the first banner on.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <tuple>

#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/registry.h"
#include "fake.h"
#include "support/sequence.h"

namespace {

using fake::play;
using Words = std::vector<std::string>;

bool analyze(const Words &words) {
  std::vector<char *> arguments{const_cast<char *>("kelptest")};
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  return analyze_args(static_cast<int>(words.size()) + 1, arguments.data());
}

std::string run_with(const Words &words, const fake::Script &script) {
  return play(script, [&] {
    if (analyze(words)) run();
  });
}

Words split(const std::string &text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

Words fields(const Argument &a) {
  std::ostringstream text;
  text << "host=" << a.host << " port=" << a.port << " user=" << a.user << " option=" << a.option
       << " password=" << a.password << " size=" << a.buf_size << " route=" << a.buf_route
       << " database=" << a.database << " points=" << a.point_num << " nodes=" << a.node_num
       << " type=" << a.point_type << " begin=" << a.begin_time << " end=" << a.end_time;
  return split(text.str());
}

// Whether the command line is accepted, and what it changes.
void show_analysis(const Words &words) {
  std::string text = analyze(words) ? "yes" : "no";
  const Words now = fields(argument_), before = fields({});
  for (size_t i = 0; i < now.size(); ++i) {
    if (now[i] != before[i]) text += " " + now[i];
  }
  std::puts(text.c_str());
}

TEST(CommandLine, SetsFields) {
  const struct {
    Words words;
    std::string expected;
  } cases[] = {
      {{}, "yes"},
      {{"-HA", "-C1", "-UB", "-PC", "-O8", "-LD", "-S2", "-DE", "-N3", "-X4"},
       "yes host=A port=1 user=B option=8 password=C size=2 route=D database=E points=4 nodes=3"},
      {{"-h10.0.0.7", "xC100"}, "yes host=10.0.0.7 port=100"},
      {{"-H", "10.0.0.7"}, "no host="},
      {{"-C", "-o-3", "-s+4"}, "yes port=0 option=-3 size=4"},
      {{"-C 12x", "-X5", "-X7"}, "yes port=12 points=7"},
      {{"-N-2", "-Xmany"}, "yes points=0 nodes=-2"},
      {{"-N99999999999999999999", "-X-2147483649"}, "yes points=-2147483648 nodes=2147483647"},
      {{"-T36", "-T37", "-T31", "-Tabc", "-T4294967329"}, "yes type=36"},
      {{"-C7", "-Q1", "-X5"}, "no port=7"},
      {{"-C7", "--help"}, "no port=7"},
      {{"--help", "-C7"}, "no"},
      {{""}, "no"},
      {{"-"}, "no"},
      {{"-B20130307123456789"}, "call encode_time(2013, 3, 7, 12, 34, 56)\nyes begin=1000"},
      {{"-e2013030712345"}, "call encode_time(2013, 3, 7, 12, 34, 5)\nyes end=1000"},
      {{"-B201303071234"}, "call encode_time(2013, 3, 7, 12, 34, 0)\nyes begin=1000"},
      {{"-B20130307123"}, "no"},
      {{"-E"}, "no"},
  };
  for (const auto &[words, expected] : cases) {
    EXPECT_EQ(play({}, [&] { show_analysis(words); }), expected + "\nreturned\n");
  }
  for (const char letter : std::string("AFGIJKMQRVWYZ-1?")) {
    EXPECT_FALSE(analyze({std::string("-") + letter + "1"})) << letter;
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

std::string first_entries(int count) { return kelptest::expected_run(count, "2013-2-6 1:0:0"); }

TEST(Run, ShowsTheSameForAnyTree) {
  EXPECT_EQ(fake::seed, static_cast<unsigned>(fake::kStartTime));
  for (const Words &words :
       {Words{}, {"-N2", "-X3"}, {"-N-5", "-X-1"}, {"-B201301010000", "-E201301010000"}}) {
    EXPECT_EQ(run_with(words, {.shows_calls = false, .sleeps = 2}), first_entries(27));
  }
}

TEST(Run, CallsForEveryNodePointAndStep) {
  const std::string text = run_with({"-N2", "-X3", "-T35"}, {.sleeps = 1});
  const std::map<std::string, int> calls = {
      {"call new_object(c1, POINT00003, 35)", 1},
      {"call modify_object(c1, 2, W3.TESTNODE02, 1, [", 1},
      {"call modify_object(c1, 1, W3.TESTNODE02, 1, [", 2},
      {"call get_id_byname(c1, [W3.TESTNODE01.POINT00001,W3.TESTNODE01.POINT00002,"
       "W3.TESTNODE02.POINT00003])",
       1},
      {"call get_history_byid(c1, 3, [11,12,13], [0,0,0], 1346432400, 1346436000, 10)", 1},
      {"call write_histroy_byid(c1, 0, 13, 360, [1346432400,1346432410,", 1},
      {"1346435980,1346435990], [0,0,", 3},
      {",358.123,359.123])", 12},
      {"call write_snap(", 360},
      {"call write_snap(c1, 0, 3, [11,12,13], 1346450390, [0,0,0], [359.123,359.123,359.123])", 1},
      {"call get_snap_byid(", 10},
      {"W3.TESTNODE02.POINT00003], 1346446890)", 1}};
  for (const auto &[call, count] : calls) {
    int found = 0;
    for (size_t at = 0; (at = text.find(call, at)) != text.npos; ++at) ++found;
    EXPECT_EQ(found, count) << call;
  }
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
  EXPECT_EQ(play({.shows_calls = false}, run_but_writer), first_entries(29) + "returned\n");
}

TEST(Tree, SpreadsPointsOverNodes) {
  const std::map<std::pair<int, int>, std::string> spread = {
      {{1, 50}, " 50"}, {{2, 10}, " 6 4"}, {{3, 7}, " 3 3 1"}, {{4, 10}, " 4 3 3"},
      {{10, 1}, " 1"},  {{0, 2}, " 2"},    {{0, 1}, " 1"},     {{10, 50}, " 6 6 6 6 6 6 6 6 2"},
      {{-4, 5}, " 5"}};
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

}  // namespace
