// Stores that an older version has made.
//
// Version 1 staged single rows. Version 2 staged blocks as they are staged now and knew less about
// them. A program of these versions that has the store open finds a table missing with its next
// call that writes or reads values or deletes, and does nothing.
#pragma once

#include <functional>

#include "sqlite/database.h"
#include "store/store.h"

namespace kelp::sqlite {

// What is done to the tables of a version before those that are missing are made, and afterwards.
// No sample is touched: it takes no longer for many of them.
struct Upgrade {
  const char *before;
  const char *after;
};
Upgrade upgrade_from(int64_t version);

bool has_version_1_rows(Database &database);
// Gives some of the rows that version 1 had staged to `write`, inside a write transaction; false if
// there are none left.
bool merge_version_1_rows(Database &database, const std::function<void(const SampleRows &)> &write);

}  // namespace kelp::sqlite
