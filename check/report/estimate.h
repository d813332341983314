// How long a run will still take: how long its checks take in relation to each other is known
// roughly, and how fast this server is can be seen as they end.
#pragma once

#include <map>
#include <string>

namespace kelpcheck {

class Estimate {
 public:
  // By check: how long each takes, in any unit.
  explicit Estimate(std::map<std::string, double> weights);

  void ended(const std::string &check, double seconds);
  // Seconds, `elapsed` after the begin of the check that runs; 0 as long as there is too little to
  // go by. It goes down with the time, and is raised only where it was far too low.
  double left(const std::string &check, double elapsed);

 private:
  std::map<std::string, double> weights_;  // of those that have not ended
  double all_ = 0, done_ = 0, seconds_ = 0;
  double shown_ = 0, shown_at_ = 0;  // the last answer, and after how much time it was given
};

}  // namespace kelpcheck
