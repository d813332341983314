#include "process/waiting.h"

#include <poll.h>

#include <algorithm>
#include <ctime>

#include "result/clock.h"

namespace kelpcheck {

void wait_until(int64_t moment_ns, const std::vector<int> &descriptors) {
  constexpr int64_t second = 1'000'000'000;
  const int64_t left = std::max<int64_t>(moment_ns - now_ns(), 0);
  timespec timeout{};
  timeout.tv_sec = static_cast<time_t>(left / second);
  timeout.tv_nsec = static_cast<long>(left % second);
  std::vector<pollfd> events;
  for (const int descriptor : descriptors) events.push_back({descriptor, POLLIN, 0});
  ppoll(events.data(), events.size(), &timeout, nullptr);
}

}  // namespace kelpcheck
