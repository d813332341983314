// kelpcheck load: measures how much a server takes, and how long its calls take at a rate.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <ctime>
#include <iostream>

#include "command_line.h"
#include "load/local.h"
#include "load/run.h"
#include "process/machine.h"
#include "report/files.h"
#include "report/load_reports.h"
#include "result/times.h"

namespace kelpcheck {

namespace {

constexpr double kManyRows = 100e6;

class LoadCommand : public Command {
 public:
  LoadCommand() { o_.server.prefix = "KELPLOAD"; }
  std::string name() const override { return "load"; }
  std::string summary() const override {
    return "Measures how many values a historian takes, and how long its calls take at a given "
           "rate.";
  }
  void add_options(CLI::App &app) override;
  int run() override;

 private:
  void add_load(CLI::App &app);
  void complete();
  LoadReport new_report() const;
  int write_reports(const LoadReport &report, int status) const;

  LoadOptions o_;
};

// Durations and dates are kept as texts until all is read.
template <typename Parse, typename Target>
void add_parsed(CLI::App &app, const std::string &name, const std::string &help, Parse parse,
                Target &target, const std::string &shown) {
  app.add_option_function<std::string>(
         name,
         [parse, &target](const std::string &text) {
           try {
             target = parse(text);
           } catch (const std::invalid_argument &error) {
             throw CLI::ValidationError(error.what());
           }
         },
         help)
      ->default_str(shown)
      ->group("Load");
}

Doing parse_doing(const std::string &word) {
  for (const Doing doing :
       {Doing::write, Doing::history, Doing::snap, Doing::read, Doing::query, Doing::mixed}) {
    if (word == name_of(doing)) return doing;
  }
  throw std::invalid_argument("--do: \"" + word +
                              "\" is none of write, history, snap, read, query and mixed");
}

void LoadCommand::add_options(CLI::App &app) {
  app.footer(
      "Exit status: 0 measured, 1 rows read back wrong, 2 wrong usage, refused (a prefix that\n"
      "another run uses) or a report that cannot be written, 3 no connection, 4 nothing\n"
      "measured, 128 + signal interrupted.");
  add_server_options(app, o_.server);
  add_load(app);
  add_report_options(app, o_.reports);
}

void LoadCommand::add_load(CLI::App &app) {
  const char *group = "Load";
  add_parsed(app, "--do", "What the calls do: write, history, snap, read, query or mixed",
             parse_doing, o_.doing, "write");
  require_range(
      app.add_option("--rate", o_.rate, "Rows per second; without it, each point once a second"),
      0.001, 1e12)
      ->option_text("ROWS")
      ->group(group);
  app.add_option("--sessions", o_.sessions, "Sessions, each a process")
      ->check(CLI::Range(1, 1000))
      ->group(group);
  app.add_option("--points", o_.points, "Points of each session")
      ->check(CLI::Range(1, 100'000))
      ->group(group);
  app.add_option("--rows", o_.rows, "Rows of one point in a call, and of each point before reads")
      ->check(CLI::Range(1, 1'000'000))
      ->group(group);
  add_parsed(app, "--for", "How long to load", parse_duration, o_.seconds, "10s");
  add_parsed(app, "--begin", "Time of the first rows", parse_date, o_.begin,
             "2012-08-31T17:00:00Z");
  app.add_flag("--find-limit", o_.find_limit,
               "Search for the highest rate that the server keeps up with")
      ->excludes(app.get_option("--for"))  // the search ends by itself
      ->group(group);
  add_parsed(app, "--within", "Time within which 99 % of the calls have to be done", parse_duration,
             o_.within, "100ms");
  app.add_flag("!--no-read-back", o_.read_back, "Do not check that the rows are there")
      ->always_capture_default(false)
      ->group(group);
  app.add_flag("--keep", o_.keep, "Leave the rows on the server")->group(group);
  app.add_flag("--yes", o_.yes, "Write more than 100 million rows without asking")->group(group);
}

// What depends on several options.
void LoadCommand::complete() {
  if (o_.find_limit && o_.rate > 0)
    throw std::invalid_argument("--find-limit finds the rate; leave --rate out");
  if (o_.within <= 0 || o_.seconds <= 0)
    throw std::invalid_argument("--within and --for need a time longer than 0");
  if (o_.begin >= std::time(nullptr))
    throw std::invalid_argument("--begin is not in the past, and no row may lie in the future");
  if (o_.rate <= 0) o_.rate = static_cast<double>(o_.points) * o_.sessions;
  const double rows = o_.rate * o_.seconds;
  if (!o_.find_limit && rows > kManyRows && !o_.yes) {
    throw std::invalid_argument(text("--rate for --for is ",
                                     with_thousands(std::llround(std::min(rows, 9e18))),
                                     " rows; if that is meant, say --yes"));
  }
}

LoadReport LoadCommand::new_report() const {
  LoadReport report;
  const Work work(o_);
  report.doing = name_of(o_.doing);
  report.work = work.words();
  report.sessions = o_.sessions;
  report.within = o_.within;
  report.read_how = o_.read_back ? "" : "nothing was read back (--no-read-back)";
  report.library = judged_library();
  report.machine = machine_name();
  report.started = std::time(nullptr);
  const bool local = is_on_this_machine(o_.server.host);
  if (local) {
    report.remarks.push_back(
        "the server is on this machine: it shares the processors with the "
        "sessions that load it");
  }
  const ServerOptions &s = o_.server;
  report.texts = {{"host", s.host},
                  {"user", s.user},
                  {"route", s.route},
                  {"database", s.database},
                  {"prefix", s.prefix},
                  {"do", report.doing},
                  {"begin", iso_text(static_cast<double>(o_.begin))}};
  report.numbers = {{"port", s.port},       {"option", s.option},      {"size", s.size},
                    {"timeout", s.timeout}, {"sessions", o_.sessions}, {"points", o_.points},
                    {"rows", o_.rows},      {"within", o_.within}};
  if (!o_.find_limit) report.numbers.push_back({"rate", o_.rate});
  if (!o_.find_limit) report.numbers.push_back({"for", o_.seconds});
  report.facts = {
      {"From", report.machine},
      {"Server", s.where() + (local ? ", on this machine" : "")},
      {"Database", s.database},
      {"Library", report.library.path},
      {"Library file", report.library.words()},
      {"Calls", report.work},
      {"Extent", text(o_.sessions, o_.sessions == 1 ? " session, " : " sessions, each with ",
                      o_.points, " points of its own; a call may take ", s.timeout, " s")},
      {"Rows", "a second apart from " + clock_text(o_.begin) + " UTC on"},
      {"Program", "kelpcheck " KELPCHECK_VERSION}};
  if (work.filled() > 0) {
    report.facts.push_back(
        {"Written before",
         text(o_.rows, " rows of each point, and a current value, outside the measurement")});
  }
  return report;
}

int LoadCommand::run() {
  complete();
  const std::string *paths[] = {&o_.reports.json, &o_.reports.junit, &o_.reports.html};
  for (const std::string *path : paths) {
    if (!path->empty()) require_writable(*path);
  }
  LoadReport report = new_report();
  std::ostream &out = o_.reports.on_stdout() ? std::cerr : std::cout;
  LoadText screen(report, out, o_.reports.quiet);
  LoadRun run(o_, report,
              {[&](const std::string &doing) { screen.phase(doing); },
               [&](const LoadSecond &second, int64_t number) { screen.second(second, number); },
               [&](const LoadStage &stage) { screen.stage(stage); }});
  screen.begin(o_.server.host, o_.find_limit ? 0 : o_.rate);
  run.work();
  report.facts.insert(report.facts.begin(), {"When", clock_text(report.started) + " UTC, " +
                                                         duration_text(report.seconds * 1e9)});
  screen.end();
  const int status = write_reports(report, report.exit_status());
  if (!out) return complain("cannot write the report to standard output");
  return status;
}

int LoadCommand::write_reports(const LoadReport &report, int status) const {
  const struct {
    const std::string &path;
    std::string (*contents)(const LoadReport &report);
  } files[] = {
      {o_.reports.json, load_json}, {o_.reports.junit, load_junit}, {o_.reports.html, load_html}};
  for (const auto &file : files) {
    if (file.path.empty()) continue;
    try {
      write_file(file.path, file.contents(report));
    } catch (const std::runtime_error &error) {
      status = complain(error.what());
    }
  }
  return report.interrupted != 0 ? report.exit_status() : status;
}

}  // namespace

std::unique_ptr<Command> load_command() { return std::make_unique<LoadCommand>(); }

}  // namespace kelpcheck
