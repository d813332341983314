// Writing reports to files, "-" being standard output.
#pragma once

#include <string>

namespace kelpcheck {

// Both throw std::runtime_error that says which file and why.
// Finds out whether the file can be written, before a run; makes it if it is missing.
void require_writable(const std::string &path);
void write_file(const std::string &path, const std::string &contents);

}  // namespace kelpcheck
