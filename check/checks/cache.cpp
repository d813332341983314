// The cache: rows of many points in one call, and of one point. What the server does with them, and
// when, is up to the server; but once they can be read they must be the ones that were written.
#include <algorithm>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

// What the server makes of cached rows is known; where they become history, it must be they.
void expect_cached(Bed &bed, const Window &window) {
  bed.c.need(Question::cache);
  const Habits &habits = bed.c.habits;
  if (habits.is(Question::cache, Answer::never) || habits.is(Question::cache, Answer::some)) {
    throw Moot(text("cached rows become history ",
                    entry_of(Question::cache).text_of(habits.left(Question::cache))));
  }
  expect_history(bed, false, window, shuffled(bed.points()));
}

// A call mixes the rows of all points, as they would come in over time.
void batch(Bed &bed) {
  const Window window(bed, 0);
  const auto order = shuffled(bed.points());
  Ids ids;
  Columns rows;
  for (int64_t row = 0; row < window.rows; ++row) {
    for (size_t i = 0; i < order.size(); ++i) {
      ids.push_back(bed.ids[order[i]]);
      rows.add(window.at(order[i], row));
      const bool last = row + 1 == window.rows && i + 1 == order.size();
      if (!last && rows.size() < kRowsPerCall) continue;
      expect_done(bed, Op::write_cache, bed.session->write_cache(ids, rows));
      ids.clear();
      rows = {};
    }
  }
  expect_cached(bed, window);
}

void one_by_one(Bed &bed) {
  const Window window(bed, 1);
  for (size_t point = 0; point < bed.points(); ++point) {
    for (int64_t first = 0; first < window.rows; first += kRowsPerCall) {
      const Columns rows =
          window.columns(point, first, std::min(first + kRowsPerCall, window.rows));
      expect_done(bed, Op::write_cache_one, bed.session->write_cache_one(bed.ids[point], rows));
    }
    bed.c.progress(static_cast<int64_t>(point) + 1, static_cast<int64_t>(bed.points()));
  }
  expect_cached(bed, window);
}

}  // namespace

Family cache_family() {
  return {"cache",
          Tree::made,
          {{"cache.batch.roundtrip", "All rows of many points, written in one call, are read back.",
            batch, 8},
           {"cache.one.roundtrip", "So are rows of one point.", one_by_one, 8}}};
}

}  // namespace kelpcheck
