// The tables of a store in a SQLite file.
#pragma once

#include "sqlite/database.h"

namespace kelp::sqlite {

// True if the tables are there, false in an empty file or in a store of an older version; fails on
// a file that is not for us.
bool has_schema(Database &database);

// Makes the tables, or brings those of an older version up to date, inside a write transaction.
void create_schema(Database &database);

}  // namespace kelp::sqlite
