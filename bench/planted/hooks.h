// Small words for the tables of servers.
#pragma once

#include <cmath>
#include <cstdint>
#include <map>

#include "real.h"
#include "server.h"

namespace planted {

constexpr int32_t kDay = 86400;
constexpr int32_t kYear2030 = 1893456000;

// Samples for which `matches` holds are acknowledged and lost.
template <class Predicate>
void lose(Write &write, Predicate matches) {
  for (Sample &sample : write.samples) {
    if (matches(sample)) sample.lost = true;
  }
}

// Samples for which `matches` holds have a failed entry.
template <class Predicate>
void refuse(Write &write, Predicate matches) {
  for (Sample &sample : write.samples) {
    if (!matches(sample)) continue;
    sample.lost = true;
    sample.error = -1;
  }
}

// One entry stands for all rows of these operations, which fail together.
inline bool is_history(const Write &write) {
  return write.by == Writer::kHistoryById || write.by == Writer::kHistoryByName;
}
inline bool is_cache(const Write &write) {
  return write.by == Writer::kCache || write.by == Writer::kCacheOne;
}

template <class Predicate>
void refuse_point(Write &write, Predicate matches) {
  if (!is_history(write) && write.by != Writer::kCacheOne) return refuse(write, matches);
  bool any = false;
  for (const Sample &sample : write.samples) any = any || matches(sample);
  if (any) refuse(write, [](const Sample &) { return true; });
}

struct Date {
  int32_t year, month, day, hour, minute, second;
};
Date date_of(int32_t time);

int32_t time_now(ConnectionHandle connection);

// The current value as the store has it; its error is not 0 without one.
Sample current_of(ConnectionHandle connection, int32_t id);

// The statistics of rows as the bundled library makes them; the curve ends at `end`. There is at
// least one row.
StatValue statistics_of(const std::vector<Row> &rows, int32_t end);

// The bounds of the interval that an unchanged row of statistics is of.
struct Bounds {
  int32_t begin, end;
};
Bounds bounds_of(const Query &query, int32_t time);
std::vector<Row> rows_of(const Query &query, size_t entry, Bounds bounds);

// Marks that the server keeps about an id, in the file KELP_PLANTED_STATE with ".marks".
enum class Mark : int32_t { kHidden = 1, kShown, kKind };
void mark(Mark mark, int32_t id, int32_t value);
// Whether this is the latest mark at id and value.
bool is_marked(Mark mark, int32_t id, int32_t value);
// The kind of a point that was inserted with `note_kinds` as the hook `modified`.
void note_kinds(Modify &modify);
bool is_kind(int32_t id, int32_t kind);

// Rows of a write that history queries do not show, until another write shows them.
void hide_from_history(const Write &write);
void show_in_history(const Write &write);
void drop_hidden_rows(const Query &query, size_t entry, std::vector<Row> &rows);
void leave_hidden_out(const Query &query, size_t entry, std::vector<StatValue> &rows);

}  // namespace planted
