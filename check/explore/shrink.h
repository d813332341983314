// Makes a sequence in which something goes wrong as small as it can be: calls dropped, arrays cut,
// times, values and names replaced by plain ones, as long as it still goes wrong.
#pragma once

#include <functional>

#include "explore/calls.h"

namespace kelpcheck::explore {

// `fails` plays a sequence and says whether it still goes wrong; it is asked until nothing smaller
// does, or until `enough` says that there is no more time. `base` is where plain times are.
Sequence shrink(Sequence sequence, int32_t base, const std::function<bool(const Sequence &)> &fails,
                const std::function<bool()> &enough);

}  // namespace kelpcheck::explore
