// What checks share: writing blocks of values, and comparing what is read with what was written.
#pragma once

#include "checks/families.h"
#include "probe/window.h"

namespace kelpcheck {

// Compares the fields that both kinds of objects have, and those that nodes or points have.
void expect_fields(Evidence &e, Object object, const Fields &want, bool node,
                   const std::string &name);

// The entries must be 0.
void expect_done(Bed &bed, Op operation, const Out<int32_t> &errors);
// Compares a row, field by field.
template <typename Where>
void expect_sample(Evidence &e, const Sample &want, const Sample &have, Where &&where) {
  e.equal(want.time, have.time, [&] { return "time of " + where(); });
  e.equal(want.status, have.status, [&] { return "status of " + where(); });
  e.equal(want.value, have.value, [&] { return "value of " + where(); });
}

// A row of a window, written to all points at one time.
struct Moment {
  const Window &window;
  int64_t row;
  int32_t time;
  bool with_times;  // whether readings have their times
};

// Compares what was read of these points with that moment.
void expect_readings(Bed &bed, const Readings &have, const std::vector<size_t> &order,
                     const Moment &moment);

// Rows [first, last) of a point.
struct Stretch {
  const Window &window;
  size_t point;
  int64_t first, last;
};

// Compares one result of a query with them.
void expect_rows(Bed &bed, const History &history, size_t result, const Stretch &want);
// Reads a window of these points and compares it.
void expect_history(Bed &bed, bool by_name, const Window &window,
                    const std::vector<size_t> &points);
// Writes the rows of these points, each point's in two calls.
void write_history(Bed &bed, bool by_name, const Window &window, const std::vector<size_t> &points,
                   bool later_block_first = false);

}  // namespace kelpcheck
