// Every name goes through one buffer and one cut, so that a long database name gives the same cut
// name wherever it is made.
#include "demos/test_tree.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "driver/argument.h"

namespace {

template <typename... Values>
std::string cut_text(const char *format, Values... values) {
  std::array<char, 256> buffer{};
  std::snprintf(buffer.data(), buffer.size() - 1, format, values...);
  return buffer.data();
}

}  // namespace

int32_t node_count() { return std::max(argument_.node_num, 0); }

int32_t point_count() { return std::max(argument_.point_num, 0); }

size_t point_array_size() { return std::max<size_t>(point_count(), argument_.point_names.size()); }

std::vector<int32_t> test_point_ids() {
  std::vector<int32_t> ids = argument_.point_ids;
  ids.resize(point_count());
  return ids;
}

std::string numbered_text(const char *format, int32_t number) { return cut_text(format, number); }

std::string node_short_name(int32_t node) { return numbered_text("TESTNODE%02d", node); }

std::string node_full_name(int32_t node) {
  return cut_text("%s.TESTNODE%02d", argument_.database.c_str(), node);
}

std::string point_short_name(int32_t point) { return numbered_text("POINT%05d", point); }

int32_t parent_node(int32_t point) {
  const int64_t nodes = argument_.node_num;
  const int64_t divisor = nodes + argument_.point_num - 1;
  if (nodes < 1 || divisor == 0) return 1;
  return static_cast<int32_t>((point - 1) * nodes / divisor + 1);
}

std::string parent_name(int32_t point) { return node_full_name(parent_node(point)); }

std::string point_full_name(int32_t point) {
  return cut_text("%s.%s", parent_name(point).c_str(), point_short_name(point).c_str());
}

GroupHandle new_node_group() {
  GroupHandle group = kelp2_new_group();
  for (int32_t j = 0; j < node_count(); ++j) {
    kelp2_add_group_point(group, node_full_name(j + 1).c_str());
  }
  return group;
}

GroupHandle new_point_group() {
  GroupHandle group = kelp2_new_group();
  for (const std::string &name : argument_.point_names) {
    kelp2_add_group_point(group, name.c_str());
  }
  return group;
}
