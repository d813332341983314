// The checks by family, in the order in which they run.
#pragma once

#include "bed.h"

namespace kelpcheck {

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

// One per file in checks/.
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

struct Plan {
  std::vector<Family> families;
  size_t checks_in_all;  // selected or not
};

// The checks that the options select; opening and cleaning up always belong to them. Throws
// std::invalid_argument for a pattern that no check's name or family matches.
Plan make_plan(const Options &options);

}  // namespace kelpcheck
