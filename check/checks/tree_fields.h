// The checks of static fields, which are the tree family's, and what its other checks share with
// them.
#pragma once

#include "checks/families.h"
#include "probe/session.h"

namespace kelpcheck {

std::vector<Check> field_checks();

// All entries of a change must be done.
void expect_modified(Bed &bed, const char *what, const Modified &done);

}  // namespace kelpcheck
