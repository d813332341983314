#include "watch/options.h"

#include <CLI/CLI.hpp>

namespace kelpcheck::watch {

void adopt_server(const CLI::App &app, const JournalHead &head, ServerOptions &server) {
  const auto adopt = [&](const char *option, auto &ours, const auto &its) {
    if (app.count(option) == 0) ours = its;
  };
  adopt("--host", server.host, head.host);
  adopt("--port", server.port, head.port);
  adopt("--user", server.user, head.user);
  adopt("--option", server.option, head.option);
  adopt("--route", server.route, head.route);
  adopt("--size", server.size, head.size);
  adopt("--database", server.database, head.database);
  adopt("--prefix", server.prefix, head.prefix);
}

}  // namespace kelpcheck::watch
