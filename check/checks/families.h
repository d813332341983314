// The families of checks.
#pragma once

#include <cstdint>
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
  std::string after = {};   // a check that has to have come to its end before
  bool keeps_tree = false;  // for the family behind it, which finds it
};

// How many numbers of nodes a family with such a tree takes, a spare one among them, where a whole
// tree has so many nodes.
inline int32_t node_numbers(Tree tree, int32_t nodes) {
  if (tree == Tree::made) return nodes + 1;
  if (tree == Tree::reserved) return kReservedNodes;
  return tree == Tree::few ? 2 : 0;
}

Family habits_family();  // what the others rest on
Family sweep_times_family();
Family sweep_values_family();
Family sweep_names_family();
Family sweep_calls_family();
Family sweep_amounts_family();
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
Family explore_family();  // sequences of calls against a model of a server
Family cleanup_family();  // what the run made is removed

}  // namespace kelpcheck
