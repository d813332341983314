#include "supervisor.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <system_error>

#include "child.h"
#include "records.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

const std::string kInterrupted = "interrupted";
constexpr int kTickMilliseconds = 100;
constexpr int64_t kPatience = 5'000'000'000;  // nanoseconds for a killed process to end
constexpr size_t kMostOutput = 4000;  // bytes kept of what the library prints during a check

struct Pipe {
  int read_end, write_end;
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
      throw std::system_error(errno, std::generic_category(), "pipe");
    read_end = ends[0];
    write_end = ends[1];
    fcntl(read_end, F_SETFL, O_NONBLOCK);
  }
};

sigset_t watched_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&set, number);
  return set;
}

// Reads what there is without waiting.
std::string read_available(int descriptor) {
  std::string bytes;
  char buffer[16384];
  for (ssize_t n; (n = read(descriptor, buffer, sizeof buffer)) > 0;) {
    bytes.append(buffer, static_cast<size_t>(n));
  }
  return bytes;
}

std::string operation_now() { return kOperationNames[blackboard->operation.load()]; }

// Whether the call that runs has taken longer than that many seconds.
bool overdue(double seconds) {
  const int64_t started = blackboard->call_started.load();
  return started != 0 && static_cast<double>(now_ns() - started) > seconds * 1e9;
}

// How a process ended, in words.
std::string end_of_process(int status) {
  const bool in_call = blackboard->call_started.load() != 0;
  const std::string place = (in_call ? " in " : " after ") + operation_now();
  if (WIFSIGNALED(status)) return text("crashed", place, ": ", strsignal(WTERMSIG(status)));
  return text("the process ended itself", place, ", with status ", WEXITSTATUS(status));
}

}  // namespace

struct Supervisor::Child {
  pid_t pid = -1;
  Pipe records, output;
  std::string line;           // of a record that has not come to its end
  std::string output_text;    // since the check began
  size_t next = 0, last = 0;  // from, and behind, those of the run's checks that have not ended yet
  bool running_check = false;
  int64_t began = 0;  // that check
  bool complete = false;
  bool no_session = false;
  bool reaped = false;
  int status = 0;

  ~Child() {
    for (const int end : {records.read_end, output.read_end}) close(end);
  }
};

Supervisor::Supervisor(Run &run, const Plan &plan, std::function<void(const CheckResult &)> ended,
                       std::function<void(const CheckResult &)> tick)
    : run_(run), plan_(plan), ended_(std::move(ended)), tick_(std::move(tick)) {
  const sigset_t set = watched_signals();
  sigprocmask(SIG_BLOCK, &set, nullptr);
  signals_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  if (signals_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
}

Supervisor::~Supervisor() { close(signals_); }

void Supervisor::work() {
  const int64_t start = now_ns();
  run_.started = std::time(nullptr);
  run_.checks_in_all = plan_.checks_in_all;
  for (const Family &family : plan_.families) {
    for (const Check &check : family.checks) {
      run_.results.push_back(
          {check.name, family.name, check.promise, Verdict::not_run, 0, {}, "", ""});
    }
  }
  // Of a found tree the family before it made the nodes.
  int32_t next_node = 1, tree = 1;
  size_t first_check = 0;
  for (const Family &family : plan_.families) {
    if (family.tree == Tree::made) {
      tree = next_node;
      next_node += run_.options.nodes + 1;  // and a spare one
    }
    cleaning_up_ = &family == &plan_.families.back() && !run_.options.keep;
    run_family(family, first_check, tree);
    first_check += family.checks.size();
  }
  run_.seconds = static_cast<double>(now_ns() - start) / 1e9;
}

void Supervisor::run_family(const Family &family, size_t first_check, int32_t first_node) {
  Child child;
  child.next = first_check;
  child.last = first_check + family.checks.size();
  const bool opening = first_check == 0;
  const bool interrupted = run_.interrupted != 0 && !cleaning_up_;
  const std::string obstacle = interrupted                      ? kInterrupted
                               : !opening && !run_.connected    ? kNoSession
                               : !came_to_its_end(family.after) ? family.after + " did not end"
                                                                : "";
  if (!obstacle.empty()) {
    close(child.records.write_end);
    close(child.output.write_end);
    end_early(child, obstacle);
    return;
  }
  blackboard->call_started = 0;
  const pid_t supervisor = getpid();
  child.pid = fork();
  if (child.pid < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child.pid == 0) {
    setpgid(0, 0);  // a Ctrl-C is the supervisor's
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != supervisor) _exit(1);
    const sigset_t set = watched_signals();
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    dup2(child.output.write_end, STDOUT_FILENO);
    dup2(child.output.write_end, STDERR_FILENO);
    kelpcheck::run_family(family, run_.options, first_node, child.records.write_end);
    _exit(0);
  }
  close(child.records.write_end);
  close(child.output.write_end);
  watch(child);
}

// No check, or one that was not ended from outside.
bool Supervisor::came_to_its_end(const std::string &check) const {
  return std::none_of(run_.results.begin(), run_.results.end(), [&](const CheckResult &result) {
    return result.name == check && !result.reason.empty();
  });
}

// Until the process has ended, or cannot be ended; what it still sent is taken after that.
void Supervisor::watch(Child &child) {
  std::string reason;
  int64_t killed = 0;
  while (!child.reaped && (killed == 0 || now_ns() - killed < kPatience)) {
    pollfd events[] = {{child.records.read_end, POLLIN, 0},
                       {child.output.read_end, POLLIN, 0},
                       {signals_, POLLIN, 0}};
    poll(events, 3, kTickMilliseconds);
    take_records(child);
    if (take_signals(child)) reason = kInterrupted;
    if (reason.empty() && overdue(run_.options.timeout)) {
      reason = text(operation_now(), " did not return within ", run_.options.timeout, " s");
    }
    if (!reason.empty() && killed == 0) {
      kill(child.pid, SIGKILL);
      killed = now_ns();
    }
    if (child.running_check) tick_(run_.results[child.next]);
  }
  take_records(child);
  if (child.complete) reason = "the check before it could not begin";
  end_early(child, reason.empty() ? end_of_process(child.status) : reason);
}

// The rest of a family that came to no end: the check that ran has failed, the others have not run.
void Supervisor::end_early(Child &child, const std::string &reason) {
  for (; child.next < child.last; ++child.next) {
    CheckResult &result = run_.results[child.next];
    const bool charged = child.running_check && reason != kInterrupted;
    if (charged) result.seconds = static_cast<double>(now_ns() - child.began) / 1e9;
    result.output = redacted(child.output_text);
    finish(result, charged ? Verdict::failed : Verdict::not_run, reason);
    child.running_check = false;
    child.output_text.clear();
  }
}

void Supervisor::finish(CheckResult &result, Verdict verdict, const std::string &reason) {
  result.verdict = verdict;
  result.reason = redacted(reason);
  ended_(result);
}

// Whether a signal asks for the end.
bool Supervisor::take_signals(Child &child) {
  bool asked = false;
  for (signalfd_siginfo info; read(signals_, &info, sizeof info) == sizeof info;) {
    if (info.ssi_signo == SIGCHLD) continue;
    run_.interrupted = static_cast<int>(info.ssi_signo);
    asked = true;
  }
  child.reaped = waitpid(child.pid, &child.status, WNOHANG) == child.pid;
  return asked;
}

// What was printed before a record was sent is there when the record is.
void Supervisor::take_records(Child &child) {
  child.line += read_available(child.records.read_end);
  take_output(child);
  size_t begin = 0;
  for (size_t end; (end = child.line.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const json record = json::parse(child.line.substr(begin, end - begin), nullptr, false);
    if (record.is_object()) take(child, record);
  }
  child.line.erase(0, begin);
}

void Supervisor::take_output(Child &child) {
  child.output_text += read_available(child.output.read_end);
  if (child.output_text.size() > kMostOutput) child.output_text.resize(kMostOutput);
}

void Supervisor::take(Child &child, const json &record) {
  CheckResult &result = run_.results[child.next];
  if (record.contains("connected")) run_.connected = true;
  if (record.contains("complete")) child.complete = true;
  if (record.contains("no_session")) child.no_session = true;
  if (record.contains("begin")) {
    child.running_check = true;
    child.began = now_ns();
  }
  if (record.contains("finding")) add_finding(record["finding"]);
  if (record.contains("plot")) run_.plot = record["plot"];
  if (!record.contains("end")) return;
  result.evidence = record["evidence"];
  result.seconds = record["seconds"];
  result.output = redacted(child.output_text);
  child.output_text.clear();
  child.running_check = false;
  const std::string reason = record["reason"];
  const bool good = reason.empty() && result.evidence.differences == 0;
  const bool unreached = child.no_session && !run_.connected;
  finish(result, good ? Verdict::passed : unreached ? Verdict::not_run : Verdict::failed, reason);
  ++child.next;
}

// An answer that several checks came to is shown once.
void Supervisor::add_finding(const std::pair<std::string, std::string> &finding) {
  const auto &all = run_.findings;
  if (std::find(all.begin(), all.end(), finding) == all.end()) run_.findings.push_back(finding);
}

// Whatever the library says, a password is in no report.
std::string Supervisor::redacted(std::string text) const {
  const std::string &secret = run_.options.password;
  constexpr size_t shortest = 4;  // a shorter one would be found in every other word
  if (secret.size() < shortest) return text;
  for (size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += 3) {
    text.replace(at, secret.size(), "***");
  }
  return text;
}

}  // namespace kelpcheck
