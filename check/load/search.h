// The search for the highest rate that a server keeps up with. A function that runs a stage is
// passed in, so that the search knows nothing about servers.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "result/load.h"

namespace kelpcheck {

// Runs a stage at that many rows per second for that purpose; nothing where it cannot be run, which
// ends the search.
using RunStage = std::function<std::optional<LoadStage>(double rate, const std::string &purpose)>;

// Begins at a quarter of `rough`, doubles, and bisects to 5 %; confirms what it found by a second
// run. A stage that did not hold is run once more where nothing but a hiccup may be the reason,
// and twice on a host that is busy.
LoadLimit find_limit(double rough, const RunStage &run);

}  // namespace kelpcheck
