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

void adopt_server(const GivenOptions &given, const JournalHead &head, ServerOptions &server) {
  const auto adopt = [&](const char *option, auto &ours, const auto &its) {
    if (!given.contains(option)) ours = its;
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
