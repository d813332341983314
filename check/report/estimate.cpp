#include "report/estimate.h"

#include <algorithm>
#include <utility>

namespace kelpcheck {

Estimate::Estimate(std::map<std::string, double> weights) : weights_(std::move(weights)) {
  for (const auto &[check, weight] : weights_) all_ += weight;
}

void Estimate::ended(const std::string &check, double seconds) {
  const auto found = weights_.find(check);
  if (found == weights_.end()) return;
  done_ += found->second;
  seconds_ += seconds;
  weights_.erase(found);
}

double Estimate::left(const std::string &check, double elapsed) {
  constexpr double least_share = 0.05, far_off = 3;
  if (done_ < least_share * all_ || done_ <= 0) return 0;
  const double pace = seconds_ / done_;
  const auto found = weights_.find(check);
  const double running = found == weights_.end() ? 0 : found->second * pace;
  const double behind = (all_ - done_) * pace - running;
  const double now = std::max(behind, 0.0) + std::max(running - elapsed, running * 0.05);
  const double spent = seconds_ + elapsed;
  const double step = std::max(spent - shown_at_, 0.0);
  shown_at_ = spent;
  // One that was too low goes down more slowly, so that both come to their end together.
  const bool too_low = shown_ > 0 && now > shown_ && now < shown_ * far_off;
  shown_ = too_low ? shown_ - std::min(step * shown_ / now, shown_) : now;
  return shown_;
}

}  // namespace kelpcheck
