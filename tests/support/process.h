// A program started by a test: its output is collected in files, so that it can be looked at while
// the program runs and never fills a pipe. Destroying it kills the program.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kelptest {

// A fresh folder below the system's temporary one, removed with everything in it.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder &) = delete;
  TempFolder &operator=(const TempFolder &) = delete;
  std::string path(const std::string &name = "") const { return (folder_ / name).string(); }

 private:
  std::filesystem::path folder_;
};

class Process {
 public:
  using Seconds = std::chrono::duration<double>;

  // Starts command[0] (found on PATH) with the rest as arguments; `variables` are added to the
  // environment as NAME=VALUE.
  explicit Process(const std::vector<std::string> &command,
                   const std::vector<std::string> &variables = {});
  ~Process();
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  pid_t pid() const { return pid_; }
  std::string output() const;
  std::string errors() const;
  // Waits until standard output contains the text; false if the time or the program ends first.
  bool wait_for_output(const std::string &text, Seconds timeout) const;
  // Waits for the end: the exit status, or minus the signal's number; nothing if time runs out.
  std::optional<int> wait(Seconds timeout);
  void signal(int number) const;

 private:
  TempFolder folder_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

// The environment of a program with a library before its own: sanitizers look at it later than they
// like, and what it leaves behind is none of their business.
std::vector<std::string> preloaded(const std::string &library,
                                   const std::vector<std::string> &variables);

// Waits until the condition holds; false if it does not in time.
template <typename Condition>
bool wait_for(Process::Seconds timeout, Condition &&condition) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// Runs a command to its end and returns its standard output; throws with its standard error if it
// fails or takes longer than the timeout.
std::string run(const std::vector<std::string> &command,
                Process::Seconds timeout = Process::Seconds(60));

}  // namespace kelptest
