// The tables of a store in a PostgreSQL database, in a schema of their own.
#pragma once

#include "postgres/session.h"

namespace kelp::postgres {

// Makes the tables, or brings those of an older version up to date, and checks that they are there
// and can be written. Any number of programs may do so at once.
void prepare_schema(Session &session);

}  // namespace kelp::postgres
