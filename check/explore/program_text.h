// The fixed parts of the C programs that are written: the frame, and the helpers that a program may
// need, of which it gets those that it uses.
#pragma once

#include <string>

namespace kelpcheck::explore {

// Everything before the constants of a program.
extern const char *const kProgramHead;
// Between the constants and the calls.
extern const char *const kProgramFrame;
// main and what it needs, behind the calls.
extern const char *const kProgramTail;

// The helpers whose names occur in `calls`, in an order in which they can be compiled.
std::string helpers_for(const std::string &calls);

}  // namespace kelpcheck::explore
