#include "load/search.h"

#include <cmath>

namespace kelpcheck {

namespace {

constexpr double kPrecision = 1.05;
constexpr int kMostSteps = 40;      // of the climb up
constexpr int kMostStepsDown = 12;  // where even a thousandth fails, a lower rate says nothing
constexpr int kMostConfirmations = 3;

class Search {
 public:
  explicit Search(const RunStage &run) : run_(run) {}

  LoadLimit find(double rough);

 private:
  // Whether the rate was tried.
  bool try_rate(double rate, const char *purpose);
  bool climb(double rate);
  bool halve();
  bool confirm();

  const RunStage &run_;
  LoadLimit limit_;  // rows_per_second is the highest that held, beyond the lowest that did not
  bool hopeless_ = false;  // every call of the last stage failed: no lower rate helps
};

bool Search::try_rate(double rate, const char *purpose) {
  constexpr double busy = 0.05;
  std::optional<LoadStage> stage = run_(rate, purpose);
  for (int again = 0; again < 2 && stage && !stage->kept_up && !stage->overloaded; ++again) {
    if (again > 0 && stage->host_waiting < busy) break;
    const std::optional<LoadStage> repeated = run_(rate, purpose);
    if (!repeated) break;
    stage = repeated;
  }
  if (!stage) return false;
  hopeless_ = stage->calls > 0 && stage->failures == stage->calls;
  if (stage->kept_up) {
    limit_.rows_per_second = rate;
  } else {
    limit_.beyond = rate;
    limit_.limited_by = stage->limited_by;
    limit_.reason = stage->reason;
  }
  return true;
}

// Until there is a rate that holds, and one that does not.
bool Search::climb(double rate) {
  for (int step = 0; step < (limit_.beyond > 0 ? kMostStepsDown : kMostSteps); ++step) {
    if (!try_rate(rate, "climb")) return false;
    if (limit_.rows_per_second > 0 && limit_.beyond > 0) return true;
    if (hopeless_) return true;
    rate = limit_.beyond > 0 ? rate / 2 : rate * 2;
  }
  return true;
}

bool Search::halve() {
  while (limit_.rows_per_second > 0 && limit_.beyond > limit_.rows_per_second * kPrecision) {
    if (!try_rate(std::sqrt(limit_.rows_per_second * limit_.beyond), "halving")) return false;
  }
  return true;
}

bool Search::confirm() {
  double rate = limit_.rows_per_second;
  for (int time = 0; time < kMostConfirmations && rate > 0; ++time) {
    if (!try_rate(rate, "confirmation")) return false;
    if (limit_.beyond > rate || limit_.beyond <= 0) {
      limit_.confirmed = true;
      return true;
    }
    rate /= kPrecision;
    limit_.rows_per_second = rate;
  }
  return true;
}

LoadLimit Search::find(double rough) {
  constexpr double share_of_burst = 0.25;
  const bool ended = climb(rough * share_of_burst) && halve() && confirm();
  if (!ended) limit_.limited_by = LimitedBy::none;
  return limit_;
}

}  // namespace

LoadLimit find_limit(double rough, const RunStage &run) { return Search(run).find(rough); }

}  // namespace kelpcheck
