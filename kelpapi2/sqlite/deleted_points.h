// Points that were deleted, and the samples that they have left, of which there may be millions: a
// deletion only notes the point. The samples are removed little by little, after the deletion and
// with every later write.
#pragma once

#include "sqlite/samples.h"

namespace kelp::sqlite {

// Notes the point whose id is $1, unless it is still there or yet to come.
constexpr const char *kNoteDeletedPoint =
    "INSERT INTO deleted_point (point_id) SELECT $1 FROM sqlite_sequence"
    " WHERE name = 'object' AND seq >= $1"
    " AND NOT EXISTS (SELECT 1 FROM object WHERE id = $1)";

// Changes with every point that any program has noted.
int64_t count_deleted_points(Database &database);

// Erases about as much as a small call may take beside its own work; false if nothing is left.
// Runs inside a write transaction.
bool erase_some(Database &database, Samples &samples);

// Goes on for a while, in transactions of its own. Waits for nobody and does not fail: what it does
// not reach stays noted.
void erase_more(Database &database, Samples &samples) noexcept;

}  // namespace kelp::sqlite
