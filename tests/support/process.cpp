#include "support/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kelptest {

namespace {

std::string contents(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

}  // namespace

TempFolder::TempFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "kelptest-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  folder_ = name;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

Process::Process(const std::vector<std::string> &command,
                 const std::vector<std::string> &variables) {
  std::vector<char *> arguments;
  for (const std::string &word : command) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  const std::string output = folder_.path("out");
  const std::string errors = folder_.path("err");
  pid_ = fork();
  if (pid_ != 0) return;

  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that dies leaves nothing running
  for (const std::string &variable : variables) putenv(const_cast<char *>(variable.c_str()));
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDOUT_FILENO);
  dup2(open(errors.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

Process::~Process() {
  if (status_) return;
  kill(pid_, SIGCONT);
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

std::string Process::output() const { return contents(folder_.path("out")); }

std::string Process::errors() const { return contents(folder_.path("err")); }

bool Process::wait_for_output(const std::string &text, Seconds timeout) const {
  const auto shown = [&] { return output().find(text) != std::string::npos; };
  wait_for(timeout, [&] {
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
    return info.si_pid == pid_ || shown();
  });
  return shown();
}

std::optional<int> Process::wait(Seconds timeout) {
  wait_for(timeout, [&] {
    int status = 0;
    if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    return status_.has_value();
  });
  return status_;
}

void Process::signal(int number) const { kill(pid_, number); }

std::string run(const std::vector<std::string> &command, Process::Seconds timeout) {
  Process process(command);
  if (process.wait(timeout) != 0) {
    throw std::runtime_error(command[0] + " failed: " + process.errors());
  }
  return process.output();
}

std::vector<std::string> preloaded(const std::string &library,
                                   const std::vector<std::string> &variables) {
  const char *options = std::getenv("ASAN_OPTIONS");
  std::vector<std::string> all{"LD_PRELOAD=" + library,
                               "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0:" +
                                   std::string(options ? options : "")};
  all.insert(all.end(), variables.begin(), variables.end());
  return all;
}

}  // namespace kelptest
