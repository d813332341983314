// Random numbers for tests: different in every run, unless the variable KELP_SEED says which. Every
// failure while one exists shows the line that runs the test again with the same numbers.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

namespace kelptest {

class Random : public std::mt19937 {
 public:
  Random() : Random(chosen_seed()) {}

 private:
  explicit Random(result_type seed) : std::mt19937(seed), trace_(__FILE__, __LINE__, again(seed)) {}
  static result_type chosen_seed() {
    const char *given = std::getenv("KELP_SEED");
    return given != nullptr ? static_cast<result_type>(std::stoul(given)) : std::random_device()();
  }
  static std::string again(result_type seed) {
    const auto *test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(test->test_suite_name()) + "." + test->name();
    return "the same again: KELP_SEED=" + std::to_string(seed) + " ./test.sh -R " + name;
  }
  testing::ScopedTrace trace_;
};

}  // namespace kelptest
