// What checks share: writing blocks of values, and comparing what is read with what was written.
#pragma once

#include "checks/families.h"
#include "checks/settle.h"
#include "probe/window.h"

namespace kelpcheck {

// Compares the fields that both kinds of objects have, and those that nodes or points have; those
// whose meaning is the server's only where it is known to keep every value of them.
void expect_fields(Bed &bed, Evidence &e, Object object, const Fields &want, bool node,
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

// A row of a window, written to all points at one time. The row before it was there before.
struct Moment {
  const Window &window;
  int64_t row;
  int32_t time;
  bool with_times;  // whether readings have their times
};

// Reads until these points have what they had at that moment.
void expect_readings(Bed &bed, const std::function<Readings()> &read,
                     const std::vector<size_t> &order, const Moment &moment);

// Rows [first, last) of a point.
struct Stretch {
  const Window &window;
  size_t point;
  int64_t first, last;
};

// Compares one result of a query with them. A row that is missing may still come.
Seen compare_rows(Bed &bed, Evidence &e, const History &history, size_t result,
                  const Stretch &want);
// Reads a window of these points and compares it.
void expect_history(Bed &bed, bool by_name, const Window &window,
                    const std::vector<size_t> &points);
// Writes the rows of these points, each point's in two calls.
void write_history(Bed &bed, bool by_name, const Window &window, const std::vector<size_t> &points,
                   bool later_block_first = false);

}  // namespace kelpcheck
