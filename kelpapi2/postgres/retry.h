// Work that is done again if the server rolled it back in favour of others.
#pragma once

#include <algorithm>
#include <random>
#include <thread>

#include "postgres/session.h"
#include "postgres/sqlstate.h"

namespace kelp::postgres {

// What the work returns. It is tried again, after pauses that get longer, for as long as the
// session's bound; then its failure is thrown.
template <typename Work>
auto retried(const Session &session, Work &&work) {
  constexpr std::chrono::milliseconds kLongestPause(500);
  static thread_local std::minstd_rand random{std::random_device()()};
  const auto deadline = Clock::now() + session.bound();
  for (std::chrono::milliseconds longest(20);; longest = std::min(longest * 2, kLongestPause)) {
    const auto pause = longest * (random() % 1000) / 1000;
    try {
      return work();
    } catch (const SqlFailure &failure) {
      if (!is_retryable(failure.state()) || Clock::now() + pause > deadline) throw;
    }
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace kelp::postgres
