#include "watch/options.h"

#include <CLI/CLI.hpp>

namespace kelpcheck::watch {

std::string complaint_of(const std::function<void()> &parse) {
  try {
    parse();
    return "";
  } catch (const std::exception &error) {
    return error.what();
  }
}

void note_given(CLI::App &app, GivenOptions &given) {
  for (CLI::Option *option : app.get_options()) {
    const std::string name = option->get_name();
    if (name != "--help") option->each([&given, name](const std::string &) { given.insert(name); });
  }
}

void adopt_server(const GivenOptions &given, const Server &before, ServerOptions &server) {
  const auto adopt = [&](const char *option, auto &ours, const auto &its) {
    if (!given.contains(option)) ours = its;
  };
  adopt("--host", server.host, before.host);
  adopt("--port", server.port, before.port);
  adopt("--user", server.user, before.user);
  adopt("--option", server.option, before.option);
  adopt("--route", server.route, before.route);
  adopt("--size", server.size, before.size);
  adopt("--database", server.database, before.database);
  adopt("--prefix", server.prefix, before.prefix);
}

}  // namespace kelpcheck::watch
