#include "probe/window.h"

#include <algorithm>

namespace kelpcheck {

namespace {

constexpr int32_t kApart = 1000;  // seconds between windows, for values beside them

}  // namespace

Window::Window(const Bed &bed, int slot, int64_t most)
    : rows(std::min<int64_t>(bed.c.options.samples, most)),
      begin(bed.c.begin + slot * (Series::length(bed.c.options.samples) + kApart)),
      end(begin + Series::length(rows)),
      bed_(bed),
      salt_(static_cast<uint32_t>(slot)) {}

Sample Window::at(size_t point, int64_t row) const {
  const Series series(bed_.kind(point), static_cast<uint32_t>(point), salt_);
  return {begin + series.offset(row), series.status(row), series.value(row)};
}

Columns Window::columns(size_t point, int64_t first, int64_t last) const {
  Columns columns;
  for (int64_t row = first; row < last; ++row) columns.add(at(point, row));
  return columns;
}

Columns Window::across(const std::vector<size_t> &order, int64_t row) const {
  Columns columns;
  for (const size_t point : order) columns.add(at(point, row));
  return columns;
}

std::string Window::place(size_t point, int64_t row) const {
  return text(bed_.described(point), ", row ", row + 1, " of ", rows, ", ",
              clock_text(at(point, row).time));
}

}  // namespace kelpcheck
