// Which checks run, by family and in the order in which they run.
#pragma once

#include "checks/families.h"
#include "result/options.h"

namespace kelpcheck {

struct Plan {
  std::vector<Family> families;
  size_t checks_in_all;   // selected or not
  int32_t last_node = 0;  // the highest number of a node that the families make
};

// The checks that the options select; opening and cleaning up always belong to them. Throws
// std::invalid_argument for a pattern that no check's name or family matches.
Plan make_plan(const CheckOptions &options);

}  // namespace kelpcheck
