// What a watch and a verification are asked for.
#pragma once

#include <optional>

#include "result/options.h"
#include "watch/journal_line.h"

namespace CLI {
class App;
}

namespace kelpcheck::watch {

struct WatchOptions {
  ServerOptions server;
  ReportOptions reports;
  std::string journal;
  int64_t points = 1000;
  int64_t every = 1;                // seconds
  std::optional<int64_t> duration;  // seconds; nothing for no end
  double settle = 5;                // seconds
};

struct VerifyOptions {
  ServerOptions server;
  ReportOptions reports;
  std::string journal;
  std::optional<int64_t> until;  // seconds since 1970
  double share = 1;              // of the points
  bool remove = false;
  std::optional<double> settle;  // seconds; nothing for the journal's
  int interrupted = 0;           // the signal because of which nothing is read; 0 for none
};

// What the command line does not say of the server is as it was when the journal was begun.
void adopt_server(const CLI::App &app, const JournalHead &head, ServerOptions &server);

}  // namespace kelpcheck::watch
