// The test tree as all demonstrations know it: how its nodes and points are named, how the points
// are spread over the nodes, and the groups that name all of them.
#pragma once

#include <kelpapi2.h>

#include <cstdint>
#include <string>
#include <vector>

// How many nodes and points a run has; a negative number on the command line counts as none.
int32_t node_count();
int32_t point_count();

// How many entries an array needs to serve for a group of all test points, or for point_count().
size_t point_array_size();

// A copy of the ids of the point_count() test points.
std::vector<int32_t> test_point_ids();

// Names and texts are cut to 254 characters. Numbers count from 1.
std::string numbered_text(const char *format, int32_t number);
std::string node_short_name(int32_t node);
std::string node_full_name(int32_t node);
std::string point_short_name(int32_t point);

// The number of the node that a point belongs to: consecutive points share a node, nodes fill up
// from the first, and the last ones can stay empty. Node 1 where there are no nodes.
int32_t parent_node(int32_t point);

// The full name of that node.
std::string parent_name(int32_t point);
std::string point_full_name(int32_t point);

// Groups for the caller to free: all node names; every entry of argument_.point_names.
GroupHandle new_node_group();
GroupHandle new_point_group();
