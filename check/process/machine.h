// Where this process runs, and what it has loaded.
#pragma once

#include <string>

#include "result/judged.h"

namespace kelpcheck {

// The file that the library's operations come from, as the linker found it.
std::string library_path();
// The same with links resolved, and with what tells it from other versions of it.
JudgedLibrary judged_library();
// The name of this host.
std::string machine_name();

}  // namespace kelpcheck
