// Runs a plan. Every family runs in a child process, which is ended when a call takes too long, and
// whose end, however it comes, is the verdict on the check that ran.
#pragma once

#include <functional>

#include <nlohmann/json_fwd.hpp>

#include "run.h"

namespace kelpcheck {

class Supervisor {
 public:
  // `ended` is told of every check as it ends; `tick` about ten times a second of the one
  // that runs.
  Supervisor(Run &run, const Plan &plan, std::function<void(const CheckResult &)> ended,
             std::function<void(const CheckResult &)> tick);
  ~Supervisor();
  Supervisor(const Supervisor &) = delete;
  Supervisor &operator=(const Supervisor &) = delete;

  // Fills the run. SIGINT, SIGTERM and SIGHUP end it early, but not without cleaning up.
  void work();

 private:
  struct Child;
  void run_family(const Family &family, size_t first_check, int32_t first_node);
  bool came_to_its_end(const std::string &check) const;
  void watch(Child &child);
  void take_records(Child &child);
  void take(Child &child, const nlohmann::json &record);
  void take_output(Child &child);
  bool take_signals(Child &child);
  void end_early(Child &child, const std::string &reason);
  void finish(CheckResult &result, Verdict verdict, const std::string &reason);
  void add_finding(const std::pair<std::string, std::string> &finding);
  std::string redacted(std::string text) const;

  Run &run_;
  const Plan &plan_;
  std::function<void(const CheckResult &)> ended_, tick_;
  int signals_;
  bool cleaning_up_ = false;
};

}  // namespace kelpcheck
