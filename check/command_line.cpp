// The password comes from -P, else from the file, else from KELP_PASSWORD. It is overwritten
// wherever it stood in the memory that the process list shows.
#include "command_line.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include "result/text.h"

namespace kelpcheck {

namespace {

void blank(char *secret) { std::memset(secret, '*', std::strlen(secret)); }

// Overwrites the values of -P and --password.
void blank_passwords(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if ((word == "-P" || word == "--password") && i + 1 < argc && argv[i + 1][0] != '-') {
      blank(argv[i + 1]);
    } else if (word.starts_with("-P")) {
      blank(argv[i] + 2);
    } else if (word.starts_with("--password=")) {
      blank(argv[i] + std::strlen("--password="));
    }
  }
}

std::string first_line(const std::string &path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line) && !file.eof()) {
    throw CLI::ValidationError("--password-file", "cannot read " + path);
  }
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

const CLI::Validator kOwnName(
    [](std::string &name) {
      const bool good = !name.empty() && name.find('.') == std::string::npos;
      return good ? "" : "must not be empty, nor hold a full stop";
    },
    "NAME");

void add_password(CLI::App &app, ServerOptions &o) {
  CLI::Option *password = app.add_option("-P,--password", o.password, "Password")
                              ->always_capture_default(false)
                              ->expected(0, 1)
                              ->group("Server");
  const auto file = std::make_shared<std::string>();
  app.add_option("--password-file", *file, "File with the password in its first line")
      ->group("Server");
  app.parse_complete_callback([password, file, &o] {
    const char *from_environment = std::getenv("KELP_PASSWORD");
    if (password->count() > 0) {
      o.password = password->results().empty() ? "" : password->results().back();
    } else if (!file->empty()) {
      o.password = first_line(*file);
    } else if (from_environment != nullptr) {
      o.password = from_environment;
    }
  });
}

// In front of a command's name they would be options of the checks.
void refuse_options_before_command(const CLI::App &app) {
  if (app.get_subcommands().empty()) return;
  for (const CLI::Option *option : app.get_options()) {
    if (option->count() > 0)
      throw CLI::ValidationError(option->get_name(),
                                 "stands before the command; put it after the command");
  }
}

}  // namespace

// Range would let NaN pass: it is neither below nor above.
CLI::Option *require_range(CLI::Option *option, double least, double most) {
  const auto complaint = [=](const std::string &word) {
    char *end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    const bool good = end != word.c_str() && *end == '\0' && number >= least && number <= most;
    return good ? std::string() : text(word, " is not a number from ", least, " to ", most);
  };
  return option->check(CLI::Validator(complaint, text(least, " to ", most)));
}

void add_server_options(CLI::App &app, ServerOptions &o) {
  const char *group = "Server";
  app.add_option("-H,--host", o.host, "Host; file:PATH is a store in that file")->group(group);
  app.add_option("-C,--port", o.port, "Port")->check(CLI::Range(1, 65'535))->group(group);
  app.add_option("-U,--user", o.user, "User")->group(group);
  app.add_option("-O,--option", o.option, "Option word for the library")->group(group);
  app.add_option("-L,--route", o.route, "Route of the library's buffer")->group(group);
  app.add_option("-S,--size", o.size, "Size of that buffer")->group(group);
  app.add_option("-D,--database", o.database, "Database to work under")->group(group);
  app.add_option("--prefix", o.prefix, "Prefix of the test nodes' names")
      ->check(kOwnName)
      ->group(group);
  require_range(app.add_option("--timeout", o.timeout, "Seconds that a call may take"), 0.1, 86'400)
      ->group(group);
  add_password(app, o);
}

void add_report_options(CLI::App &app, ReportOptions &o) {
  const char *group = "Reports (- is standard output)";
  app.add_option("--json", o.json, "JSON file")->group(group);
  app.add_option("--junit", o.junit, "JUnit XML file")->group(group);
  app.add_option("--html", o.html, "HTML file")->group(group);
  app.add_flag("--quiet", o.quiet, "Print only what did not pass, and the verdict")->group(group);
  app.final_callback([&o] {
    if ((o.json == "-") + (o.junit == "-") + (o.html == "-") > 1) {
      throw CLI::ValidationError("-", "only one report can go to standard output");
    }
  });
}

Command &parse_command_line(int argc, char **argv,
                            const std::vector<std::unique_ptr<Command>> &commands) {
  CLI::App app(commands.front()->summary(), "kelpcheck");
  app.option_defaults()->always_capture_default()->multi_option_policy(
      CLI::MultiOptionPolicy::TakeLast);
  app.set_help_flag("--help", "Print this help");
  app.set_version_flag("--version", "kelpcheck " KELPCHECK_VERSION);
  app.require_subcommand(0, 1);
  Command *chosen = commands.front().get();
  for (const auto &command : commands) {
    const bool unnamed = command->name().empty();
    CLI::App *sub = unnamed ? &app : app.add_subcommand(command->name(), command->summary());
    command->add_options(*sub);
    if (!unnamed) sub->preparse_callback([&](size_t) { chosen = command.get(); });
  }
  try {
    app.parse(argc, argv);
    refuse_options_before_command(app);
  } catch (const CLI::ParseError &error) {
    std::exit(app.exit(error) == 0 ? 0 : kWrongUsage);
  }
  blank_passwords(argc, argv);
  if (char *from_environment = std::getenv("KELP_PASSWORD"); from_environment != nullptr) {
    blank(from_environment);
    unsetenv("KELP_PASSWORD");
  }
  return *chosen;
}

int complain(const std::string &problem) {
  std::cerr << "kelpcheck: " << printable(problem) << "\n";
  return kWrongUsage;
}

}  // namespace kelpcheck
