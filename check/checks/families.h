// The families of checks.
#pragma once

#include <string>
#include <vector>

#include "probe/tree.h"

namespace kelpcheck {

class Bed;

struct Check {
  std::string name;
  std::string promise;
  void (*run)(Bed &bed);
  int weight = 1;  // how long it takes, roughly, for the time left
};

struct Family {
  std::string name;
  Tree tree;
  std::vector<Check> checks;
  std::string after = {};  // a check that has to have come to its end before
};

Family habits_family();  // what the others rest on
Family sweep_times_family();
Family sweep_values_family();
Family open_family();  // a session can be made; what an earlier run left is removed
Family connection_family();
Family restart_family();  // looks at the connection family's tree
Family clock_family();
Family tree_family();
Family values_family();
Family history_family();
Family cache_family();
Family snapshot_family();
Family statistics_family();
Family server_family();
Family cleanup_family();  // what the run made is removed

}  // namespace kelpcheck
