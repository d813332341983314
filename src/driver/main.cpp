// Everything but this file is a library that the tests link too.
#include <cstdio>
#include <cstdlib>
#include <new>

#include "driver/registry.h"

namespace {

// The status is 0 on every path, also where a size asked for on the command line does not fit.
void out_of_memory() {
  std::fputs("kelptest: out of memory; ask for fewer points, nodes or samples\n", stderr);
  std::exit(0);
}

}  // namespace

int main(int argc, char **argv) {
  std::set_new_handler(out_of_memory);
  return run(argc, argv);
}
