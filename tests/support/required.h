// Tests that need what a machine may not have: without it they are skipped, visibly, and fail where
// everything has to run.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string_view>

// Ends the test or its SetUp unless the condition holds.
#define REQUIRE_OR_SKIP(condition, problem)                      \
  if (!(condition)) {                                            \
    const char *ci = std::getenv("CI");                          \
    if (ci && std::string_view(ci) == "true") FAIL() << problem; \
    GTEST_SKIP() << problem;                                     \
  }                                                              \
  static_assert(true)
