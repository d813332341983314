// kelpcheck says whether a historian does what its client library promises, with evidence, figures
// and a report.
#include <csignal>

#include "command_line.h"

using namespace kelpcheck;

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
