// The command line. Letters and defaults are kelptest's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kelpcheck {

struct Options {
  std::string host = "127.0.0.1";
  int32_t port = 8200;
  std::string user = "tov";
  std::string password = "riverbank";
  int32_t option = 0;
  std::string route = "NULL";
  int32_t size = 100;
  std::string database = "W3";

  int32_t points = 50;
  int32_t nodes = 2;
  int32_t samples = 360;
  double timeout = 30;    // seconds of one call
  int32_t max_skew = 60;  // seconds
  std::vector<std::string> only, skip;
  std::string prefix = "KELPCHECK";
  bool list = false;
  bool keep = false;
  bool quiet = false;
  std::string json, junit, html;  // files; empty for none, "-" for standard output

  bool report_on_stdout() const { return json == "-" || junit == "-" || html == "-"; }
};

// Reads the command line and KELP_PASSWORD, and blanks passwords in both. Prints and exits for
// --help, --version (0) and for wrong usage (2).
Options parse_options(int argc, char **argv);

}  // namespace kelpcheck
