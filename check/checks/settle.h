// Waiting for what was acknowledged. A server may need a while until it can be read; until then a
// reading may show only what stood before, or a value acknowledged since.
#pragma once

#include <functional>

#include "probe/bed.h"

namespace kelpcheck {

enum class Seen {
  expected,
  earlier,  // what stood before: worth another look
  wrong     // neither: no waiting heals that
};

// Looks until what is expected is seen, with growing pauses, for --settle seconds at most; the last
// look's evidence counts. A check that has failed already does not wait. Calls that fail count as
// `earlier`, the last one's failure is thrown.
void settle(Bed &bed, const std::function<Seen(Evidence &)> &look);
// The same where any difference may heal.
void settle_equal(Bed &bed, const std::function<void(Evidence &)> &compare);
// The same for a condition; whether it came to hold.
bool settles(Bed &bed, const std::function<bool()> &holds);

// For what must be absent: lets the longest wait pass that was seen so far.
void wait_longest(Bed &bed);

}  // namespace kelpcheck
