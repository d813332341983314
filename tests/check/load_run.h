// How the tests run kelpcheck load: with a store, a report and a pace of its own.
#pragma once

#include <sqlite3.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "support/process.h"

namespace kelptest {

using namespace std::chrono_literals;
using nlohmann::json;
using Words = std::vector<std::string>;

struct Load {
  TempFolder folder;
  std::unique_ptr<Process> process;

  explicit Load(const Words &options, const std::string &pace = "") {
    Words words{CHECK_PROGRAM,   "load",     "-Hfile:" + folder.path("store"),
                "-O8",           "--json",   report(),
                "--timeout=1.5", "--points", "20"};
    words.insert(words.end(), options.begin(), options.end());
    Words variables;
    if (!pace.empty()) {
      variables =
          preloaded(PACED_LIBRARY, {"KELP_PACE=" + pace, "KELP_PACE_FILE=" + folder.path("pace")});
    }
    process = std::make_unique<Process>(words, variables);
  }

  std::string report() const { return folder.path("report.json"); }
  int status() { return process->wait(60s).value_or(-999); }
  std::string told() const { return process->output() + process->errors(); }
  json json_report() const { return json::parse(std::ifstream(report())); }
  json stage() const { return json_report()["stages"].back(); }

  // Nodes and points that the store holds.
  int objects_left() const { return count("SELECT count(*) - 1 FROM object"); }
  int count(const std::string &statement) const {
    sqlite3 *database = nullptr;
    int number = -1;
    const auto take = [](void *to, int, char **values, char **) {
      *static_cast<int *>(to) = std::stoi(values[0]);
      return 0;
    };
    sqlite3_open(folder.path("store").c_str(), &database);
    sqlite3_exec(database, statement.c_str(), take, &number, nullptr);
    sqlite3_close(database);
    return number;
  }
};

}  // namespace kelptest
