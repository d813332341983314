// The program without a command: the checks, with a verdict, figures and reports.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <random>

#include "command_line.h"
#include "process/machine.h"
#include "report/files.h"
#include "report/reports.h"
#include "result/times.h"
#include "supervisor.h"

namespace kelpcheck {

namespace {

void list_checks(const Plan &plan) {
  for (const Family &family : plan.families) {
    for (const Check &check : family.checks) {
      std::cout << check.name << "\n    " << check.promise << "\n";
    }
  }
}

class CheckCommand : public Command {
 public:
  std::string name() const override { return ""; }
  std::string summary() const override {
    return "Checks whether a historian does what its client library promises.";
  }
  void add_options(CLI::App &app) override;
  int run() override;

 private:
  void add_extent(CLI::App &app);
  void add_sequences(CLI::App &app);
  void judge(Run &run, const Plan &plan, std::ostream &out) const;

  CheckOptions o_;
};

void CheckCommand::add_options(CLI::App &app) {
  app.footer(
      "Exit status: 0 all passed, 1 something failed, 2 wrong usage, refused (no such database,\n"
      "or a prefix that another run uses) or a report that cannot be written, 3 no connection,\n"
      "4 unknown: nothing failed, but something that the verdict depends on could not be\n"
      "found out, 128 + signal interrupted.");
  add_server_options(app, o_.server);
  add_extent(app);
  add_sequences(app);
  add_report_options(app, o_.reports);
}

void CheckCommand::add_extent(CLI::App &app) {
  const char *group = "Extent";
  app.add_option("--points", o_.points, "Points")->check(CLI::Range(1, 100'000))->group(group);
  app.add_option("--nodes", o_.nodes, "Nodes")->check(CLI::Range(1, 1'000))->group(group);
  app.add_option("--samples", o_.samples, "Values per point and family of checks")
      ->check(CLI::Range(1, 1'000'000))
      ->group(group);
  app.add_option("--max-skew", o_.max_skew, "Seconds between this host's clock and the server's")
      ->check(CLI::NonNegativeNumber)
      ->group(group);
  app.add_option("--settle", o_.settle,
                 "Seconds that a server has until acknowledged values can be read")
      ->check(CLI::Range(0.0, 3600.0))
      ->group(group);
  app.add_option_function<std::string>(
         "--begin",
         [this](const std::string &date) {
           const int64_t time = parse_date(date);
           constexpr int64_t day = 86'400, latest = INT32_MAX - 400 * day;
           if (time < 366 * day || time > latest) {
             throw CLI::ValidationError("--begin", "must lie between 1971 and 2036");
           }
           o_.begin = static_cast<int32_t>(time);
         },
         "Time of the run's first values: YYYYMMDDhhmmss or ISO 8601, UTC [20120831170000]")
      ->group(group);
  app.add_option(
         "--expect", o_.expect,
         "Treat habits as promises: those of the bundled library (bundled), or those that an "
         "earlier run found (its JSON report)")
      ->group(group);
  app.add_option("--only", o_.only, "Run only these checks: names, families, or with * and ?")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false)
      ->group(group);
  app.add_option("--skip", o_.skip, "Leave these out")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false)
      ->group(group);
  app.add_flag("--list", o_.list, "List the checks and what each one promises")->group(group);
  app.add_flag("--keep", o_.keep, "Leave the test nodes on the server")->group(group);
}

void CheckCommand::add_sequences(CLI::App &app) {
  const char *group = "Random sequences of calls (explore.*)";
  app.add_option("--explore", o_.explore, "Seconds to spend on them; 0 for none")
      ->check(CLI::Range(0.0, 86'400.0))
      ->group(group);
  app.add_option("--explore-calls", o_.explore_calls, "Calls to make, instead of a time")
      ->check(CLI::NonNegativeNumber)
      ->group(group);
  o_.seed = std::random_device{}();
  app.add_option("--seed", o_.seed, "Random seed; the same seed makes the same calls")
      ->default_str("a new one each time")
      ->group(group);
  app.add_option("--reproduce", o_.reproduce,
                 "File for a C program that shows the difference that they find")
      ->group(group);
}

void CheckCommand::judge(Run &run, const Plan &plan, std::ostream &out) const {
  std::map<std::string, double> weights;
  for (const Family &family : plan.families) {
    for (const Check &check : family.checks) weights[check.name] = check.weight;
  }
  const int columns = columns_of(o_.reports.on_stdout() ? STDERR_FILENO : STDOUT_FILENO);
  TextReport report(run, out, columns, std::move(weights));
  Supervisor supervisor(run, plan,
                        {[&](const CheckResult &result) { report.check_ended(result); },
                         [&](const CheckResult &result, const Progress &progress) {
                           report.tick(result, progress);
                         }});
  report.begin();
  supervisor.work();
  report.end();
}

int CheckCommand::run() {
  const Plan plan = make_plan(o_);
  if (o_.list) {
    list_checks(plan);
    return 0;
  }
  const struct {
    std::string path;
    std::string (*contents)(const Run &run);
  } files[] = {{o_.reports.json, json_report},
               {o_.reports.junit, junit_report},
               {o_.reports.html, html_report}};
  for (const auto &file : files) {
    if (!file.path.empty()) require_writable(file.path);
  }
  if (!o_.reproduce.empty()) write_file(o_.reproduce, "");
  Run run(o_);
  run.library = judged_library();
  run.machine = machine_name();
  std::ostream &out = o_.reports.on_stdout() ? std::cerr : std::cout;
  judge(run, plan, out);

  std::error_code gone;
  if (std::filesystem::is_empty(o_.reproduce, gone)) std::filesystem::remove(o_.reproduce, gone);
  int status = run.exit_status();
  for (const auto &file : files) {
    if (file.path.empty()) continue;
    try {
      write_file(file.path, file.contents(run));
    } catch (const std::runtime_error &error) {
      status = complain(error.what());
    }
  }
  if (!out) status = complain("cannot write the report to standard output");
  return run.interrupted != 0 ? run.exit_status() : status;
}

}  // namespace

std::unique_ptr<Command> check_command() { return std::make_unique<CheckCommand>(); }

}  // namespace kelpcheck
