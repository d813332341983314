// The command line: which command, and the options that commands share. Letters and defaults are
// kelptest's.
#pragma once

#include "command.h"
#include "result/options.h"

namespace kelpcheck {

// Host to prefix, the password in its three ways, and how long a call may take; what `options`
// holds are the defaults.
void add_server_options(CLI::App &app, ServerOptions &options);
// For options of real numbers: only those from `least` to `most`, never NaN. Gives the option.
CLI::Option *require_range(CLI::Option *option, double least, double most);
// --json, --junit, --html, --quiet.
void add_report_options(CLI::App &app, ReportOptions &options);

// Reads the command line and KELP_PASSWORD, blanks passwords in both, and gives the command that
// was asked for. The first of `commands` is what runs without a word. Prints and exits for --help,
// --version (0) and for wrong usage (2).
Command &parse_command_line(int argc, char **argv,
                            const std::vector<std::unique_ptr<Command>> &commands);

}  // namespace kelpcheck
