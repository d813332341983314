// A second program beside kelptest: whether a historian does what its client library promises, with
// proof, figures and a report.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "report/reports.h"
#include "supervisor.h"

using namespace kelpcheck;

namespace {

constexpr int kWrongUsage = 2;

int complain(const std::string &problem) {
  std::cerr << "kelpcheck: " << printable(problem) << "\n";
  return kWrongUsage;
}

// The file that the operations come from.
std::string library_path() {
  Dl_info info{};
  void *operation = dlsym(RTLD_DEFAULT, "kelp2_init");
  return operation != nullptr && dladdr(operation, &info) != 0 ? info.dli_fname : "";
}

std::string machine_name() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

struct ReportFile {
  std::string path;
  std::string (*contents)(const Run &run);
};

// Throws std::runtime_error. With `contents` null only finds out whether the file can be written.
void write_file(const std::string &path, const std::string *contents) {
  const auto fail = [&] {
    throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
  };
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (contents != nullptr ? O_TRUNC : 0);
  const int file = path == "-" ? dup(STDOUT_FILENO) : open(path.c_str(), flags, 0666);
  if (file < 0) fail();
  for (size_t done = 0; contents != nullptr && done < contents->size();) {
    const ssize_t n = write(file, contents->data() + done, contents->size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int error = errno;
      close(file);
      errno = error;
      fail();
    }
    done += static_cast<size_t>(n);
  }
  if (close(file) != 0) fail();
}

void list_checks(const Plan &plan) {
  for (const Family &family : plan.families) {
    for (const Check &check : family.checks) {
      std::cout << check.name << "\n    " << check.promise << "\n";
    }
  }
}

int run(const Options &options) {
  const Plan plan = make_plan(options);
  if (options.list) {
    list_checks(plan);
    return 0;
  }
  const ReportFile files[] = {
      {options.json, json_report}, {options.junit, junit_report}, {options.html, html_report}};
  for (const ReportFile &file : files) {
    if (!file.path.empty()) write_file(file.path, nullptr);
  }
  blackboard = new_blackboard();
  Run run(options);
  run.library = library_path();
  run.machine = machine_name();
  std::ostream &out = options.report_on_stdout() ? std::cerr : std::cout;
  TextReport report(run, out, isatty(options.report_on_stdout() ? STDERR_FILENO : STDOUT_FILENO));
  Supervisor supervisor(
      run, plan, [&](const CheckResult &result) { report.check_ended(result); },
      [&](const CheckResult &result) { report.tick(result); });
  report.begin(plan);
  supervisor.work();
  report.end();

  int status = run.exit_status();
  for (const ReportFile &file : files) {
    if (file.path.empty()) continue;
    try {
      const std::string contents = file.contents(run);
      write_file(file.path, &contents);
    } catch (const std::runtime_error &error) {
      status = complain(error.what());
    }
  }
  if (!out) status = complain("cannot write the report to standard output");
  return run.interrupted != 0 ? run.exit_status() : status;
}

}  // namespace

int main(int argc, char **argv) {
  signal(SIGPIPE, SIG_IGN);  // a reader that goes away must not keep the tree from being removed
  const Options options = parse_options(argc, argv);
  try {
    return run(options);
  } catch (const std::exception &error) {
    return complain(error.what());
  }
}
