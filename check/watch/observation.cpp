#include "watch/observation.h"

#include <algorithm>

#include "result/text.h"
#include "watch/values.h"

namespace kelpcheck::watch {

namespace {

constexpr size_t kMostOfReading = 5;  // examples

bool is_written(uint64_t seed, int64_t point, int64_t step, const Row &row) {
  const Written want = written_value(seed, point, step);
  return row.status == want.status && row.value == want.value;
}

}  // namespace

std::string value_text(int16_t status, double value) {
  return text("status ", status, ", value ", show(value));
}

void Observation::add(int64_t point, const Shown &shown) {
  const auto same = std::find_if(groups.begin(), groups.end(),
                                 [&](const Observed &group) { return group.shown == shown; });
  if (same == groups.end()) {
    groups.push_back({Ranges({{point, point}}), shown});
  } else {
    same->points.add(point);
  }
}

Shown look_at(const Grid &grid, uint64_t seed, int64_t point, const std::string &name,
              std::vector<Row> rows, std::vector<Oddity> &examples) {
  const auto example = [&](const Row &row, const std::string &expected) {
    if (examples.size() >= kMostOfReading) return;
    examples.push_back({name, row.time, expected, value_text(row.status, row.value)});
  };
  std::stable_sort(rows.begin(), rows.end(),
                   [](const Row &a, const Row &b) { return a.time < b.time; });
  Shown shown;
  for (size_t i = 0; i < rows.size();) {
    const int64_t time = rows[i].time;
    const std::optional<int64_t> step = grid.step_at(time);
    const Row *wrong = nullptr;
    for (; i < rows.size() && rows[i].time == time; ++i) {
      if (step && !is_written(seed, point, *step, rows[i])) wrong = &rows[i];
      if (!step && wrong == nullptr) wrong = &rows[i];
    }
    if (!step) {
      ++shown.off_grid;
      example(*wrong, "no row");
    } else if (wrong != nullptr) {
      shown.wrong.add(*step);
      const Written want = written_value(seed, point, *step);
      example(*wrong, value_text(want.status, want.value));
    } else {
      shown.right.add(*step);
    }
  }
  return shown;
}

void CurrentValues::add(int64_t point, int64_t step) {
  const auto same = std::find_if(groups.begin(), groups.end(),
                                 [&](const CurrentGroup &group) { return group.step == step; });
  if (same == groups.end()) {
    groups.push_back({Ranges({{point, point}}), step});
  } else {
    same->points.add(point);
  }
}

int64_t step_of(const Grid &grid, uint64_t seed, int64_t point, const Row &current) {
  const std::optional<int64_t> step = grid.step_at(current.time);
  const bool known = step && *step >= 0 && is_written(seed, point, *step, current);
  return known ? *step : kForeignValue;
}

}  // namespace kelpcheck::watch
