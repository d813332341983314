// A password is taken from -P, else from the file, else from KELP_PASSWORD; wherever it stood in
// the memory that the process list shows it is overwritten.
#include "options.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <cstring>
#include <fstream>

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

void add_server(CLI::App &app, Options &o) {
  const char *group = "Server";
  app.add_option("-H,--host", o.host, "Host; file:PATH is a store in that file")->group(group);
  app.add_option("-C,--port", o.port, "Port")->group(group);
  app.add_option("-U,--user", o.user, "User")->group(group);
  app.add_option("-O,--option", o.option, "Option word for the library")->group(group);
  app.add_option("-L,--route", o.route, "Route of the library's buffer")->group(group);
  app.add_option("-S,--size", o.size, "Size of that buffer")->group(group);
  app.add_option("-D,--database", o.database, "Database to work under")->group(group);
  app.add_option("--prefix", o.prefix, "What the names of the test nodes begin with")
      ->check(CLI::Validator(
          [](std::string &name) {
            const bool good = !name.empty() && name.find('.') == std::string::npos;
            return good ? "" : "must not be empty, nor hold a full stop";
          },
          "NAME"))
      ->group(group);
}

void add_extent(CLI::App &app, Options &o) {
  const char *group = "Extent";
  app.add_option("--points", o.points, "Points")->check(CLI::Range(1, 100'000))->group(group);
  app.add_option("--nodes", o.nodes, "Nodes")->check(CLI::Range(1, 1'000))->group(group);
  app.add_option("--samples", o.samples, "Values per point and family of checks")
      ->check(CLI::Range(1, 1'000'000))
      ->group(group);
  app.add_option("--timeout", o.timeout, "Seconds that a call may take")
      ->check(CLI::Range(0.1, 86'400.0))
      ->group(group);
  app.add_option("--max-skew", o.max_skew, "Seconds between this host's clock and the server's")
      ->check(CLI::NonNegativeNumber)
      ->group(group);
  app.add_option("--only", o.only, "Run only these checks: names, families, or with * and ?")
      ->allow_extra_args(false)
      ->group(group);
  app.add_option("--skip", o.skip, "Leave these out")->allow_extra_args(false)->group(group);
  app.add_flag("--list", o.list, "List the checks and what each one promises")->group(group);
  app.add_flag("--keep", o.keep, "Leave the test nodes on the server")->group(group);
}

void add_reports(CLI::App &app, Options &o) {
  const char *group = "Reports (- is standard output)";
  app.add_option("--json", o.json, "JSON file")->group(group);
  app.add_option("--junit", o.junit, "JUnit XML file")->group(group);
  app.add_option("--html", o.html, "HTML file")->group(group);
  app.add_flag("--quiet", o.quiet, "Print only what did not pass, and the verdict")->group(group);
}

}  // namespace

Options parse_options(int argc, char **argv) {
  Options o;
  std::string password_file;
  CLI::App app("Checks whether a historian does what its client library promises.", "kelpcheck");
  app.option_defaults()->always_capture_default()->multi_option_policy(
      CLI::MultiOptionPolicy::TakeLast);
  app.set_help_flag("--help", "Print this help");
  app.set_version_flag("--version", "kelpcheck " KELPCHECK_VERSION);
  app.footer(
      "Exit status: 0 all passed, 1 not all passed, 2 wrong usage or report not written,\n"
      "3 no connection.");
  add_server(app, o);
  CLI::Option *password = app.add_option("-P,--password", o.password, "Password")
                              ->always_capture_default(false)
                              ->expected(0, 1)
                              ->group("Server");
  app.add_option("--password-file", password_file, "File with the password in its first line")
      ->group("Server");
  add_extent(app, o);
  app.get_option("--only")->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.get_option("--skip")->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  add_reports(app, o);

  char *from_environment = std::getenv("KELP_PASSWORD");
  try {
    app.parse(argc, argv);
    if (password->count() > 0) {
      o.password = password->results().empty() ? "" : password->results().back();
    } else if (!password_file.empty()) {
      o.password = first_line(password_file);
    } else if (from_environment != nullptr) {
      o.password = from_environment;
    }
    if ((o.json == "-") + (o.junit == "-") + (o.html == "-") > 1) {
      throw CLI::ValidationError("-", "only one report can go to standard output");
    }
  } catch (const CLI::ParseError &error) {
    std::exit(app.exit(error) == 0 ? 0 : 2);
  }
  blank_passwords(argc, argv);
  if (from_environment != nullptr) {
    blank(from_environment);
    unsetenv("KELP_PASSWORD");
  }
  return o;
}

}  // namespace kelpcheck
