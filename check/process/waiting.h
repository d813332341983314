// Waiting until a moment, or until something is to be read, to the tenth of a millisecond.
#pragma once

#include <cstdint>
#include <vector>

namespace kelpcheck {

// Returns when one of the descriptors is readable, or has come to its end, or when now_ns() has
// reached the moment; a moment that is past only looks. A signal that is handled may end it early.
void wait_until(int64_t moment_ns, const std::vector<int> &descriptors);

}  // namespace kelpcheck
