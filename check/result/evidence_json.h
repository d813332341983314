// Evidence as JSON, for the records between the processes and for the reports. For sources only:
// the library behind it takes long to compile.
#pragma once

#include <nlohmann/json.hpp>

#include "result/evidence.h"

namespace kelpcheck {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Evidence, compared, differences, where, expected, got, steps)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Plot, title, written_times, read_times, written, read)

}  // namespace kelpcheck
