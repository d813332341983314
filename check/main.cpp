// kelpcheck says whether a historian does what its client library promises, with evidence, figures
// and a report.
#include <csignal>
#include <iostream>

#include "command_line.h"
#include "result/text.h"

using namespace kelpcheck;

int kelpcheck::complain(const std::string &problem) {
  std::cerr << "kelpcheck: " << printable(problem) << "\n";
  return kWrongUsage;
}

int main(int argc, char **argv) {
  signal(SIGPIPE, SIG_IGN);  // a reader that goes away must not keep the tree from being removed
  std::vector<std::unique_ptr<Command>> commands;
  commands.push_back(check_command());
  commands.push_back(watch_command());
  commands.push_back(verify_command());
  commands.push_back(load_command());
  commands.push_back(compare_command());
  Command &command = parse_command_line(argc, argv, commands);
  try {
    return command.run();
  } catch (const std::exception &error) {
    return complain(error.what());
  }
}
