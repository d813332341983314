// The part of a family that runs in the child.
#pragma once

#include "checks/families.h"

namespace kelpcheck {

class CheckContext;

// Runs the family's checks and sends what comes of them as records.
// `first_node` counts the nodes of the run's families.
void run_family(const Family &family, int32_t first_node, CheckContext &c);

// Removes these of its nodes, those that are there; what stays is left to the end of the run.
void remove_nodes(int32_t first, int32_t last, CheckContext &c);

}  // namespace kelpcheck
