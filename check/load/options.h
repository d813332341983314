// What a load was asked for.
#pragma once

#include "result/options.h"

namespace kelpcheck {

enum class Doing { write, history, snap, read, query, mixed };

struct LoadOptions {
  ServerOptions server;
  ReportOptions reports;
  Doing doing = Doing::write;
  double rate = 0;  // rows per second; 0 where none was given
  int32_t sessions = 1;
  int32_t points = 1000;       // of each session
  int32_t rows = 100;          // of one point in a call, and per point before reads
  double seconds = 10;         // at a fixed rate
  int64_t begin = 1346432400;  // of the rows' times: 2012-08-31 17:00:00, as kelptest's
  bool find_limit = false;
  double within = 0.1;  // seconds in which 99 % of the calls have to be done
  bool read_back = true;
  bool keep = false;
  bool yes = false;
};

const char *name_of(Doing doing);  // "write", as on the command line

}  // namespace kelpcheck
