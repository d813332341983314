// The child's side of a family.
#pragma once

#include "checks/families.h"

namespace kelpcheck {

class CheckContext;

// Runs the family's checks and sends what comes of them as records; the only caller of the library.
// `first_node` counts the nodes of the run's families.
void run_family(const Family &family, int32_t first_node, CheckContext &c);

}  // namespace kelpcheck
