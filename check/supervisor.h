// Runs a plan. Every family runs in a child process, which is ended when a call takes too long, and
// however it ends, that decides the check that ran.
#pragma once

#include <functional>
#include <optional>

#include "plan.h"
#include "probe/check_context.h"
#include "process/shared.h"
#include "process/signals.h"
#include "result/run.h"

namespace kelpcheck {

// Told of what happens, from the supervisor's own process.
struct Watcher {
  std::function<void(const CheckResult &)> ended;  // a check, each one once
  // About ten times a second, of the check that runs.
  std::function<void(const CheckResult &, const Progress &)> tick;
};

class Supervisor {
 public:
  Supervisor(Run &run, const Plan &plan, Watcher watcher);

  // Fills the run. SIGINT, SIGTERM and SIGHUP end it early, but not without cleaning up.
  void work();

 private:
  struct FamilyChild;
  struct Numbers {  // of nodes
    int32_t first, count;
  };
  void open_results();
  void run_family(const Family &family, size_t first_check, const Numbers &nodes);
  void remove_tree(const Numbers &nodes);
  std::string obstacle(const Family &family, bool opening) const;
  bool came_to_its_end(const std::string &check) const;
  bool watch(FamilyChild &child);
  void renew_claim();
  void take_records(FamilyChild &child);
  void take(FamilyChild &child, const nlohmann::json &record);
  void take_end(FamilyChild &child, const nlohmann::json &record);
  void take_habit(const nlohmann::json &record);
  void take_limits(const nlohmann::json &record);
  void tell_habits();
  void take_output(FamilyChild &child);
  void end_early(FamilyChild &child, const std::string &reason);
  Verdict verdict_on(const FamilyChild &child, const CheckResult &result,
                     const std::string &kind) const;
  void finish(CheckResult &result, Verdict verdict, const std::string &reason);
  void add_finding(const std::pair<std::string, std::string> &finding);
  std::string redacted(std::string text) const;

  Run &run_;
  const Plan &plan_;
  Watcher watcher_;
  Signals signals_;
  Shared<CheckBoard> board_;
  Habits habits_;  // what the families so far have learnt
  Limits limits_;
  int32_t begin_;  // of the data
  Holder holder_;
  // Renews the claim, from when it is made to the end.
  Shared<CallBoard> renewing_;
  std::optional<Child> renewer_;
  int64_t renewer_started_ = 0;
  bool claimed_ = false;
  bool removal_hangs_ = false;  // then the end of the run tries once more, and nobody else
  bool cleaning_up_ = false;
};

}  // namespace kelpcheck
