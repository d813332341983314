// The run configuration: one global record that steers the whole run and carries what the
// demonstrations pass on to one another, and the command line that fills it.
#pragma once

#include <kelpapi2.h>

#include <cstdint>
#include <string>
#include <vector>

struct Argument {
  std::string host = "127.0.0.1";
  int32_t port = 8200;
  std::string user = "tov";
  std::string password = "riverbank";
  int32_t option = 0;
  int32_t buf_size = 100;
  std::string buf_route = "NULL";
  ConnectionHandle handle = nullptr;
  std::string database = "W3";
  int32_t point_num = 1;
  int32_t node_num = 1;
  int32_t point_type = AX;
  // The test points in order, filled when the tree is built: full names, and ids on the server.
  std::vector<std::string> point_names;
  std::vector<int32_t> point_ids;
  // The time range of history, statistics, cache and snapshots, and its step, in seconds.
  int32_t begin_time = 1346432400;
  int32_t end_time = 1346436000;
  int32_t interval = 10;
};

extern Argument argument_;

// Applies the command line to argument_. Stops with false at the first argument that is not an
// option; the ones before it stay applied. Prints the usage text and exits when --help is the only
// argument.
bool analyze_args(int argc, char **argv);

// Prints the usage text.
void help();

// The time of a text YYYYMMDDhhmmss, of which the seconds may be missing or cut.
int32_t stringToTime(const std::string &text);
