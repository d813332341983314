// Whether a server is on this machine, and so competes with the program that measures it.
#pragma once

#include <string>

namespace kelpcheck {

// Of a host as options name it: a file, a socket's folder, a name, an address, or several with
// commas, any of them. Names are not looked up.
bool is_on_this_machine(const std::string &hosts);

}  // namespace kelpcheck
