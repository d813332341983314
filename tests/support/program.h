// kelptest on a store.
#pragma once

#include "support/client.h"
#include "support/process.h"

namespace kelptest {

struct Program : Process {
  explicit Program(const Login &login, const std::vector<std::string> &options = {})
      : Process(command(login, options)) {}

  static std::vector<std::string> command(const Login &login,
                                          const std::vector<std::string> &options) {
    std::vector<std::string> words{KELPTEST_PROGRAM, "-H" + login.hosts,
                                   "-C" + std::to_string(login.port), "-U" + login.name,
                                   "-P" + login.password};
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }
};

}  // namespace kelptest
