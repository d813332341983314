// Every demonstration by itself: what it shows and what it asks of the library, when all goes well
// and in every way in which it can fail. Each case is played with either display flag, over the
// default hook and over one that is told about hidden lines too.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <sstream>

#include "cases.h"
#include "child.h"
#include "demos/demos.h"
#include "driver/argument.h"
#include "driver/output.h"

static std::ostream &operator<<(std::ostream &out, const Case &c) { return out << c.name; }

namespace {

void prepare(const Setup &setup) {
  argument_.handle = fake::open_connection();
  argument_.node_num = setup.nodes;
  argument_.point_num = setup.points;
  argument_.end_time = argument_.begin_time + setup.seconds;
  argument_.option = setup.option;
  argument_.database = setup.database;
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
  for (std::string line; std::getline(lines, line);) {
    mark = line[0];
    const bool seen = display || mark == '*' || mark == '#';
    if (mark == '>') {
      text += line + "\n";
    } else if (seen || with_flag) {
      text += (with_flag ? (seen ? "seen: " : "hidden: ") : "") + line.substr(1) + "\n";
    }
  }
  return text + (mark == '!' || mark == '#' || c.script.sleeps > 0 ? "" : ">returned\n");
}

void check(Case c) {
  c.script.shows_calls = std::any_of(c.expected.begin(), c.expected.end(),
                                     [](const std::string &line) { return line[0] == '>'; });
  for (const int variant : {0, 1, 2, 3}) {
    const bool display = (variant & 1) != 0, with_flag = (variant & 2) != 0;
    const auto body = [&] {
      prepare(c.setup);
      if (with_flag) display_result = print_with_flag;
      c.demo(display);
    };
    EXPECT_EQ(play(c.script, body), expected(c, display, with_flag)) << c.name << variant;
  }
}

class Demonstration : public testing::TestWithParam<Case> {};
TEST_P(Demonstration, ShowsAndCalls) { check(GetParam()); }

INSTANTIATE_TEST_SUITE_P(, Demonstration, testing::ValuesIn(cases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(Demonstrations, EndTheProcessWhenACallFails) {
  const struct {
    const char *operation;  // gives -5
    std::string line;
    std::vector<void (*)(bool)> demos;
  } failures[] = {
      {"get_system_time", "kelp2_get_system_time error! ret = -5", {get_system_time_demo}},
      {"get_id_byname", "kelp2_get_id_byname error! ret = -5", {get_id_byname_demo}},
      {"write_value", "kelp2_write_value error! ret = -5", {write_realvalue_byid_demo}},
      {"get_value_byid", "kelp2_get_value_byid error! ret= -5", {read_realvalue_byid_demo}},
      {"get_value_byname", "kelp2_get_value_byname error! ret= -5", {read_realvalue_byname_demo}},
      {"write_histroy_byid",
       "kelp2_write_histroy_byid  error! ret= -5",
       {write_hisvalue_byid_demo}},
      {"write_histroy_byname",
       "kelp2_write_histroy_byname  error! ret= -5",
       {write_hisvalue_byname_demo}},
      {"get_history_byid", "kelp2_get_history_byid  error! ret= -5", {get_hisvalue_byid_demo}},
      {"get_history_byid", "kelp2_get_histroy_byid  error! ret= -5", {get_statvalue_byid_demo}},
      {"get_history_byname",
       "kelp2_get_histroy_byname  error! ret= -5",
       {get_hisvalue_byname_demo, get_statvalue_byname_demo}},
      {"get_object_byid",
       "kelp2_get_object_byid  error! ret= -5",
       {set_static_info_byid_demo, get_static_info_byid_demo}},
      {"get_object_byname",
       "kelp2_get_object_byname  error! ret= -5",
       {set_static_info_byname_demo, get_static_info_byname_demo, set_node_static_info_byname_demo,
        get_node_static_info_byname_demo}},
      {"write_cache", "kelp2_write_cache  error! ret= -5", {write_cache_byid_demo}},
      {"write_cache_one", "kelp2_write_cache_one  error! ret= -5", {write_cache_one_byid_demo}},
      {"write_snap", "kelp2_write_snap  error! ret= -5", {write_snap_byid_demo}},
      {"get_snap_byid", "kelp2_get_snap_byid  error! ret= -5", {get_snap_byid_demo}},
      {"get_snap_byname", "kelp2_get_snap_byname  error! ret= -5", {get_snap_byname_demo}},
      {"get_child",
       "while delete point , kelp2_get_child error! ret= -5",
       {delete_point_node_demo}},
      {"get_object_byname",
       "while delete node, kelp2_get_object_byname  error! ret= -5",
       {delete_point_node_demo}}};
  for (const auto &c : failures) {
    for (void (*demo)(bool) : c.demos) {
      check({c.operation, demo, {.results = {{c.operation, -5}}}, {"!" + c.line}});
    }
  }
}

}  // namespace
