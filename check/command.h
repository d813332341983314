// A command of the program, "kelpcheck watch ..."; without one the checks run. A command adds its
// options to the command line, and runs once they are read.
#pragma once

#include <memory>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kelpcheck {

inline constexpr int kWrongUsage = 2;

class Command {
 public:
  virtual ~Command() = default;
  virtual std::string name() const = 0;     // the word on the command line; empty for the checks
  virtual std::string summary() const = 0;  // one line of help
  virtual void add_options(CLI::App &app) = 0;
  // The program's exit status. An exception is shown as a line, and is wrong usage.
  virtual int run() = 0;
};

// Each in a file of its own.
std::unique_ptr<Command> check_command();
std::unique_ptr<Command> watch_command();
std::unique_ptr<Command> verify_command();
std::unique_ptr<Command> load_command();
std::unique_ptr<Command> compare_command();

// Shows a line on standard error, made harmless; gives kWrongUsage.
int complain(const std::string &problem);

}  // namespace kelpcheck
