// kelpcheck watch and verify as their users run them.
#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/process.h"
#include "support/required.h"

namespace kelptest {

using namespace std::chrono_literals;
using nlohmann::json;
using Words = std::vector<std::string>;

constexpr int kPassed = 0, kFailed = 1, kRefused = 2, kNoConnection = 3, kUnknown = 4;
constexpr int kPoints = 12;

inline std::string contents(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// A folder with a store, a journal and reports.
struct WatchFolder : TempFolder {
  std::string host() const { return "file:" + path("store"); }
  std::string journal() const { return path("journal"); }
  json report() const { return json::parse(contents(path("json"))); }

  Words watch(const Words &more) const {
    Words words{CHECK_PROGRAM, "watch",     "-H" + host(), "--journal", journal(),
                "--points",    "12",        "--settle",    "1",         "--json",
                path("json"),  "--timeout", "10",          "-O",        "8"};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }
  Words verify(const Words &more) const {
    Words words{CHECK_PROGRAM, "verify", journal(), "--json", path("json")};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }
  Words with_fault(const std::string &fault) const {
    return preloaded(OUTAGE_LIBRARY, {"KELP_FAULT=" + fault, "KELP_STATE=" + path("state")});
  }
  // Waits until so many steps are in the journal.
  bool wait_for_steps(int count, Process::Seconds timeout) const {
    const std::string line = "{\"done\":" + std::to_string(count - 1) + ",";
    return wait_for(timeout, [&] { return contents(journal()).find(line) != std::string::npos; });
  }
};

}  // namespace kelptest
