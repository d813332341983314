// What the error codes of a PostgreSQL server mean to the library.
#pragma once

#include <string_view>

#include "store/result_code.h"

namespace kelp::postgres {

// The code for an SQLSTATE of five characters, by the exact state or else by its class. An empty
// state, which a broken connection gives, is kLost.
ResultCode code_of_sqlstate(std::string_view state);

// True for failures that go away when the transaction is simply run again.
bool is_retryable(std::string_view state);

// True for what programs run into when they create the same tables at the same moment.
bool is_creation_race(std::string_view state);

// True for an insert that met a row of the same key. On distributed engines that comes as an
// internal error.
bool is_key_conflict(std::string_view state);

// True for a text that is not valid, or has no equivalent in the encoding of the database.
bool is_unfit_text(std::string_view state);

constexpr std::string_view kUndefinedColumn = "42703";

}  // namespace kelp::postgres
