// What --expect turns into promises: the bundled library's answers, or those of an earlier run.
#pragma once

#include "habits/habits.h"

namespace kelpcheck {

// `expect` is empty, "bundled", or the path of a JSON report of the checks. Throws
// std::runtime_error for one that cannot be read as such.
Habits expected_habits(const std::string &expect);

}  // namespace kelpcheck
