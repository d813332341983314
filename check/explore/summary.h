// Statistics and calendar fields, calculated here, as the header describes them, and rows as text.
#pragma once

#include "explore/answer.h"
#include "explore/ways.h"
#include "explore/world.h"

namespace kelpcheck::explore {

// All rows of a time, or "none".
std::string rows_text(const Rows &rows);

// "2012-8-31 17:0:0"
std::string utc_fields(int32_t time);

// The item of a field of a row of statistics, by the number of the row from 1.
std::string statistics_item(size_t row, const char *field);

// Adds what the rows of statistics of one entry have to be, as far as the server's ways are known;
// nothing where a value is not sure.
void expect_statistics(const Call &call, size_t entry, const std::map<int32_t, Cell> &cells,
                       const Ways &ways, Expectation &all);

}  // namespace kelpcheck::explore
