// Everything but this file is a library that the tests link too. The status is 0 on every path but
// a signal's.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <new>

#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"
#include "driver/registry.h"

namespace {

// Every user of the host can read the arguments of a process.
void blank_passwords(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    const bool password = std::toupper(static_cast<unsigned char>(argv[i][1])) == 'P';
    if (password) std::memset(argv[i] + 2, 0, std::strlen(argv[i] + 2));
  }
}

}  // namespace

// Catches what the program itself could not allocate, also where a size asked for on the command
// line does not fit. The library handles its own allocations, so a new-handler would be wrong.
int main(int argc, char **argv) try {
  if (!analyze_args(argc, argv)) {
    print(true, "please input \"kelptest --help\" for help!");
    return 0;
  }
  blank_passwords(argc, argv);
  wipe_progress_on_signals();
  run();
  return 0;
} catch (const std::bad_alloc &) {
  wipe_progress();
  std::fputs("kelptest: out of memory; ask for fewer points, nodes or samples\n", stderr);
  return 0;
}
