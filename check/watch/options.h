// What a watch and a verification are asked for.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "result/options.h"

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

// What the option's parser complains of; empty if it does not.
std::string complaint_of(const std::function<void()> &parse);
// The long names of options that were given on the command line.
using GivenOptions = std::set<std::string>;
// Has them noted while the command line is read.
void note_given(CLI::App &app, GivenOptions &given);
// What the command line does not say of the server is as it was when the journal was begun.
void adopt_server(const GivenOptions &given, const Server &before, ServerOptions &server);

}  // namespace kelpcheck::watch
