// What is left of deleted points. Deleting a point takes its object and notes its id, in one short
// transaction: from then on nothing can be read of it or written to it. Its samples go in pieces,
// each a transaction of its own, so that their number bounds no call: what the call that deleted
// the point leaves is removed by whoever comes next.
#pragma once

#include "postgres/session.h"

namespace kelp::postgres {

// Notes the point whose id is $1, unless it is still there.
constexpr const char *kNoteErasedPoint =
    "INSERT INTO kelp.erased_point (id) SELECT CAST ($1 AS int4)"
    " WHERE NOT EXISTS (SELECT 1 FROM kelp.object WHERE id = $1) ON CONFLICT (id) DO NOTHING";

// Removes what deleted points have left: at least one piece, and more for about this long. Does not
// fail: what it does not reach stays noted.
void remove_leftovers(Session &session, Clock::duration time) noexcept;

}  // namespace kelp::postgres
