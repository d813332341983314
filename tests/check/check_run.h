// How the tests run kelpcheck: over a store in a file, over a library with a fault, and what is
// left behind.
#pragma once

#include <string>
#include <vector>

#include "support/process.h"

namespace kelptest {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

inline constexpr int kPassed = 0, kFailed = 1, kRefused = 2, kNoConnection = 3;
// The rows of object, sample, staged_sample and current_value in a store that nothing is left in.
inline constexpr const char *kNothingLeft = "1 0 0 0 ";

std::string contents(const std::string &path);
// Commits need not reach the disk here.
Words command(const std::string &host, const Words &options);
// The environment in which the library has that fault.
Words with_fault(const std::string &fault);
// The first column of all rows that a statement gives in a store, each with a blank behind it.
std::string sql(const std::string &store, const std::string &statement);
std::string left_in(const std::string &store);
// How often a text occurs in another one.
size_t count_of(const std::string &part, const std::string &whole);

}  // namespace kelptest
