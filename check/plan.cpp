#include "plan.h"

#include <fnmatch.h>

#include <algorithm>
#include <stdexcept>

namespace kelpcheck {

namespace {

bool matches(const std::string &pattern, const Check &check) {
  return fnmatch(pattern.c_str(), check.name.c_str(), 0) == 0 ||
         check.name.starts_with(pattern + ".");
}

bool matches_any(const std::vector<std::string> &patterns, const Check &check) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [&](const std::string &pattern) { return matches(pattern, check); });
}

void require_known(const std::vector<std::string> &patterns, const std::vector<Family> &families) {
  for (const std::string &pattern : patterns) {
    bool known = false;
    for (const Family &family : families) {
      for (const Check &check : family.checks) known = known || matches(pattern, check);
    }
    if (!known) throw std::invalid_argument("no check matches \"" + pattern + "\"; see --list");
  }
}

}  // namespace

Plan make_plan(const CheckOptions &options) {
  Plan plan{{connection_family(), restart_family(), clock_family(), tree_family(), values_family(),
             history_family(), cache_family(), snapshot_family(), statistics_family(),
             server_family(), sweep_times_family(), sweep_values_family(), sweep_names_family(),
             sweep_calls_family(), sweep_amounts_family(), explore_family()},
            0,
            0};
  require_known(options.only, plan.families);
  require_known(options.skip, plan.families);
  const auto wanted = [&](const Check &check) {
    const bool only = options.only.empty() || matches_any(options.only, check);
    const bool off = check.name.starts_with("explore.") && options.explore == 0;
    return only && !off && !matches_any(options.skip, check);
  };
  // A family that goes on where a check of another one ended needs that check.
  std::vector<std::string> needed;
  for (const Family &family : plan.families) {
    if (std::any_of(family.checks.begin(), family.checks.end(), wanted))
      needed.push_back(family.after);
  }
  for (Family &family : plan.families) {
    plan.checks_in_all += family.checks.size();
    std::erase_if(family.checks, [&](const Check &check) {
      return !wanted(check) && std::count(needed.begin(), needed.end(), check.name) == 0;
    });
  }
  std::erase_if(plan.families, [](const Family &family) { return family.checks.empty(); });
  plan.families.insert(plan.families.begin(), {open_family(), habits_family()});
  if (!options.keep) plan.families.push_back(cleanup_family());
  plan.checks_in_all += 2 + habits_family().checks.size();
  for (size_t i = 0; i < plan.families.size(); ++i) {
    Family &family = plan.families[i];
    plan.last_node += node_numbers(family.tree, options.nodes);
    family.keeps_tree = i + 1 < plan.families.size() && plan.families[i + 1].tree == Tree::found;
  }
  return plan;
}

}  // namespace kelpcheck
