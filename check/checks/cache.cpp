// The cache: rows of many points in one call, and of one point. What the server does with them, and
// when, is its own affair; but once they can be read they must be the ones that were written.
#include <chrono>
#include <thread>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

// Waits a while for the rows to be in the history, and compares them. Where they never are, they
// must be found as snapshots.
void expect_cached(Bed &bed, const Window &window, const char *operation) {
  constexpr int64_t patience = 2'000'000'000;
  const int64_t start = now_ns();
  const size_t last_point = bed.points() - 1;
  int32_t rows = 0;
  do {
    if (rows > 0) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    rows = bed.session->history(bed.who(false, {last_point}), window.begin, window.end).rows(0);
  } while (rows < window.rows && now_ns() - start < patience);
  const std::string question = text("Rows of ", operation, " are read as");
  if (rows > 0) {
    bed.c.finding(question, "history");
    expect_history(bed, false, window, shuffled(bed.points()));
    return;
  }
  const auto order = in_order(bed.points());
  bed.c.finding(question, "snapshots only");
  for (size_t point = 0; point < bed.points(); ++point) {
    const int32_t time = window.at(point, window.rows - 1).time;
    expect_readings(bed, bed.session->snap(bed.who(false, {point}), time), {point},
                    {window, window.rows - 1, time, false});
  }
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
  expect_cached(bed, window, "kelp2_write_cache");
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
  expect_cached(bed, window, "kelp2_write_cache_one");
}

}  // namespace

Family cache_family() {
  return {"cache",
          Tree::made,
          {{"cache.batch.roundtrip", "Rows of many points in one call are read back, every one.",
            batch, 8},
           {"cache.one.roundtrip", "So are rows of one point.", one_by_one, 8}}};
}

}  // namespace kelpcheck
