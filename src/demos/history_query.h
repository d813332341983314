// A query of the history of all test points, as raw values or statistics, by id or by name: one
// call, the errors of single points, then every point's result row by row.
#pragma once

#include <kelpapi2.h>

#include <cstdint>

enum class LookUp { by_id, by_name };

// Fetches and shows the rows of one result; `position` is that of its point in the test points.
using ReadRows = void (*)(bool display, int32_t position, ResultHandle result, int32_t rows);

struct HistoryQuery {
  LookUp look_up;
  HistoryMode mode;
  int32_t offset;     // seconds by which the whole time range is shifted
  const char *fatal;  // the line of a failed call, with its result
  ReadRows read;
  const char *success;  // the closing line, always shown
};

void query_history(bool display, const HistoryQuery &query);
