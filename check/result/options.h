// What a run was asked for: part of its record. Commands add their own to these; the command line
// knows which letters and words set them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kelpcheck {

// A server and what a run may touch there: all of it may stand in a record. Defaults are
// kelptest's.
struct Server {
  std::string host = "127.0.0.1";
  int32_t port = 8200;
  std::string user = "tov";
  int32_t option = 0;
  std::string route = "NULL";
  int32_t size = 100;
  std::string database = "W3";
  std::string prefix = "KELPCHECK";  // of the names of the run's own nodes

  // In words: a file, or host, port and user.
  std::string where() const;
};

// How a session is made. The password stands in no record.
struct ServerOptions : Server {
  std::string password = "riverbank";
  double timeout = 32;  // seconds of one call
};

// Files; empty for none, "-" for standard output.
struct ReportOptions {
  std::string json, junit, html;
  bool quiet = false;

  bool on_stdout() const { return json == "-" || junit == "-" || html == "-"; }
};

// Those of the checks.
struct CheckOptions {
  ServerOptions server;
  ReportOptions reports;
  int32_t points = 50;
  int32_t nodes = 2;
  int32_t samples = 360;
  int32_t max_skew = 60;       // seconds
  double settle = 5;           // seconds until what was acknowledged is readable
  int32_t begin = 1346432400;  // of the run's data: 2012-08-31 17:00:00, where kelptest's are
  std::string expect;          // "bundled", a report of an earlier run, or nothing
  std::vector<std::string> only, skip;
  bool list = false;
  bool keep = false;
  // Of the sequences:
  double explore = 5;         // seconds; 0 for none
  int64_t explore_calls = 0;  // instead of a time; 0 for none
  uint64_t seed = 0;
  std::string reproduce;  // file for a C program of what was found
};

}  // namespace kelpcheck
