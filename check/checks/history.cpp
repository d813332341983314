// History: blocks of rows written to every point and read back, by id and by name, whole and in
// parts.
#include <algorithm>
#include <cstdlib>

#include "checks/expect.h"
#include "checks/ground.h"

namespace kelpcheck {

namespace {

// What the values and statuses of this run are like, so that nobody has to believe it.
void tell_coverage(Bed &bed, const Window &window) {
  int64_t all = 0, zero = 0, small = 0, negative = 0, wide = 0, below = 0;
  for (const size_t point : some_of(bed.points())) {
    for (int64_t row = 0; row < std::min<int64_t>(window.rows, 1000); ++row, ++all) {
      const Sample sample = window.at(point, row);
      zero += sample.status == 0 ? 1 : 0;
      small += sample.status != 0 && std::abs(sample.status) < 128 ? 1 : 0;
      negative += sample.status < 0 ? 1 : 0;
      wide += std::abs(sample.status) >= 128 ? 1 : 0;
      below += sample.value < 0 ? 1 : 0;
    }
  }
  bed.c.finding("Of the data's statuses", text(zero, " are 0, ", small, " small, ", wide,
                                               " need 16 bits, ", negative, " are negative"));
  bed.c.finding("Of the data's values", text(below, " of ", all, " are negative"));
}

void roundtrip_byid(Bed &bed) {
  const Window window(bed, 0);
  tell_coverage(bed, window);
  write_history(bed, false, window, in_order(bed.points()));
  expect_history(bed, false, window, shuffled(bed.points()));
}

// The later block of each point is written first: history is often filled in afterwards.
void roundtrip_byname(Bed &bed) {
  const Window window(bed, 1);
  write_history(bed, true, window, shuffled(bed.points()), true);
  expect_history(bed, true, window, in_order(bed.points()));
}

// What was written by id is read by name and the other way round, through all ways at once.
void crosswise(Bed &bed) {
  const Window by_id(bed, 2, kFew), by_name(bed, 3, kFew);
  const auto some = some_of(bed.points());
  write_history(bed, false, by_id, some, true);
  write_history(bed, true, by_name, some);
  expect_history(bed, true, by_id, some);
  expect_history(bed, false, by_name, some);
}

// One block of the first point as a curve, for people to look at.
void curve(Bed &bed) {
  const Window window(bed, 4, 400);
  const int64_t rows = window.rows;
  const Columns block = window.columns(0, 0, rows);
  expect_done(bed, Op::write_histroy_byid, bed.session->write_history(bed.ids[0], block));
  expect_history(bed, false, window, {0});
  const History history = bed.session->history(bed.who(false, {0}), window.begin, window.end);
  Plot plot{bed.names[0], {block.times.begin(), block.times.end()}, {}, block.values, {}};
  const int64_t found = std::min<int64_t>(history.rows(0), 2 * rows);
  for (int64_t row = 0; row < found; ++row) {
    const Sample have = history.next(0);
    plot.read_times.push_back(have.time);
    plot.read.push_back(have.value);
  }
  bed.c.plot(plot);
}

void extremes(Bed &bed) {
  const Window window(bed, 5);
  for (size_t point = 0; point < std::min(bed.points(), std::size(kKinds)); ++point) {
    const auto at = [&](size_t i) {
      return extreme(bed.kind(point), i, window.begin + static_cast<int32_t>(i) * 10);
    };
    Columns rows;
    for (size_t i = 0; i < kExtremes; ++i) rows.add(at(i));
    expect_done(bed, Op::write_histroy_byid, bed.session->write_history(bed.ids[point], rows));
    settle_equal(bed, [&](Evidence &e) {
      const History history =
          bed.session->history(bed.who(false, {point}), window.begin, window.begin + 1000);
      const int32_t found = history.rows(0);
      e.equal(rows.size(), found, [&] { return "rows of " + bed.names[point]; });
      for (int32_t i = 0; i < std::min(found, rows.size()); ++i) {
        expect_sample(e, at(i), history.next(0), [&] { return bed.described(point); });
      }
    });
  }
}

// A range [begin, end] of rows, asked for so that the same rows come whether its end is inside it
// or not.
void expect_range(Bed &bed, const Stretch &want, int32_t begin, int32_t end) {
  for (const bool by_name : {false, true}) {
    const auto look = [&](Evidence &e) {
      const History history = bed.session->history(bed.who(by_name, {want.point}), begin, end);
      return compare_rows(bed, e, history, 0, want);
    };
    try {
      settle(bed, look);
    } catch (const CallFailed &) {  // one way to say that there are no rows
      if (want.first < want.last) throw;
    }
  }
}

void ranges(Bed &bed) {
  const Window window(bed, 6, kFew);
  const auto some = some_of(bed.points());
  write_history(bed, false, window, some);
  for (const size_t point : some) {
    const auto time = [&](int64_t row) { return window.at(point, row).time; };
    const int64_t n = window.rows, last = n - 1, middle = n / 2;
    const auto expect = [&](int64_t from, int64_t to, int32_t begin, int32_t end) {
      expect_range(bed, {window, point, from, to}, begin, end);
    };
    expect(0, 1, time(0), time(0) + 1);  // its begin is a row's time
    expect(middle, middle + 1, time(middle), time(middle) + 1);
    expect(last, n, time(last), time(last) + 1);
    expect(last, n, time(last) - 1, window.end);
    expect(0, n, time(0), time(last) + 1);  // just all of them
    expect(0, n, window.begin, window.end);
    expect(0, 0, window.begin - 100, time(0) - 1);  // nothing before, nothing behind
    expect(n, n, time(last) + 1, window.end);
    if (n < 4) continue;
    expect(1, n, time(0) + 1, time(last) + 1);  // without the first, or the last
    expect(0, last, time(0), time(last) - 1);
    expect(middle - 1, middle + 1, time(middle - 1), time(middle) + 1);  // across two blocks
    if (time(middle) > time(middle - 1) + 2) {                           // between two rows
      expect(middle, middle, time(middle - 1) + 1, time(middle) - 1);
    }
  }
  for (const bool by_name : {false, true}) {
    const int32_t end = window.at(0, window.rows - 1).time;
    const int32_t rows = bed.session->history(bed.who(by_name, {0}), end - 1, end).rows(0);
    Answers answer;
    if (rows == 1) answer = Answer::inside;
    if (rows <= 0) answer = Answer::outside;
    bed.c.read(Question::range_end, answer,
               text("a range that ends at a row's time, by ", by_name ? "name" : "id"),
               text(rows, " rows"));
  }
}

// Two queries open at a time, their results read a row each in turn and the last one first, must
// not get in each other's way.
void interleaved(Bed &bed) {
  const Window one(bed, 7, kFew), two(bed, 8, kFew);
  const auto order = some_of(bed.points());
  write_history(bed, false, one, order);
  write_history(bed, true, two, order);
  expect_history(bed, true, one, order);
  expect_history(bed, false, two, order);
  const History first = bed.session->history(bed.who(false, order), one.begin, one.end);
  const History second = bed.session->history(bed.who(true, order), two.begin, two.end);
  Evidence &e = bed.c.evidence;
  std::vector<int64_t> left(order.size());
  for (size_t i = order.size(); i-- > 0;) {
    left[i] = std::min({one.rows, int64_t{first.rows(i)}, int64_t{second.rows(i)}});
    e.equal(one.rows, left[i], [&] { return "rows of " + bed.names[order[i]]; });
  }
  for (int64_t row = 0; row < one.rows; ++row) {
    for (size_t i = order.size(); i-- > 0;) {
      if (row >= left[i]) continue;
      expect_sample(e, one.at(order[i], row), first.next(i),
                    [&] { return one.place(order[i], row); });
      expect_sample(e, two.at(order[i], row), second.next(i),
                    [&] { return two.place(order[i], row); });
    }
  }
}

// Other values written over some rows, twice. Which of them stays is a habit; it must be the same
// one for all of them, the whole of it, and the rows around must stay.
void overwrite(Bed &bed) {
  bed.c.need(Question::second_value);
  const Window old(bed, 9, kFew), other(bed, 10, kFew), third(bed, 12, kFew);
  const auto some = some_of(bed.points());
  Ground ground(bed);
  const int64_t first = old.rows / 3, last = old.rows - old.rows / 3;
  const auto write = [&](const Window &from, int64_t begin, int64_t end, bool by_name) {
    for (const size_t point : some) {
      std::vector<Sample> rows;
      for (int64_t row = begin; row < end; ++row) {
        rows.push_back(from.at(point, row));
        rows.back().time = old.at(point, row).time;
      }
      ground.history(point, rows, by_name);
    }
    ground.expect_history(some, !by_name, old.begin, old.end);
  };
  write(old, 0, old.rows, false);
  write(other, first, last, false);
  write(third, first, last, true);
}

// A point that does not exist among others: its entry says so, its result has no rows and can be
// released, and the others are right.
void failed_entry(Bed &bed) {
  const Window window(bed, 11, kFew);
  write_history(bed, false, window, {0});
  for (const bool by_name : {false, true}) {
    Who who = bed.who(by_name, {0});
    if (by_name) std::get<Names>(who).insert(std::get<Names>(who).begin(), bed.names[0] + "NONE");
    if (!by_name) {
      const int32_t gone = bed.add_point(bed.nodes[0], "GONE", R8);
      Objects points = bed.session->objects(Ids{gone});
      bed.session->modify(Delete, bed.full(bed.nodes[0]), points);
      std::get<Ids>(who).insert(std::get<Ids>(who).begin(), gone);
    }
    settle(bed, [&](Evidence &e) {
      const History history = bed.session->history(who, window.begin, window.end);
      const auto where = [] { return std::string("an unknown point"); };
      e.that(history.errors[0] != 0, where, "an entry other than 0", "0");
      e.that(history.rows(0) <= 0, where, "no rows", show(history.rows(0)));
      const bool known = e.differences == 0;
      const Seen seen = compare_rows(bed, e, history, 1, {window, 0, 0, window.rows});
      return std::max(seen, known ? Seen::expected : Seen::earlier);
    });
  }
}

}  // namespace

Family history_family() {
  return {
      "history",
      Tree::made,
      {{"history.byid.roundtrip",
        "What is written to history by id is read back by id: every "
        "row with its time, status and value.",
        roundtrip_byid, 8},
       {"history.byname.roundtrip",
        "The same by name, with the later block of each point "
        "written first.",
        roundtrip_byname, 8},
       {"history.crosswise", "What is written by id is read by name, and the other way round.",
        crosswise, 16},
       {"history.curve", "One block of a point is read back as the curve that was written.", curve},
       {"history.extremes",
        "Each kind keeps all the values that it can hold, and statuses "
        "keep their 16 bits.",
        extremes},
       {"history.ranges",
        "A query gives the rows of its range and no others, at its ends and "
        "across blocks too.",
        ranges, 5},
       {"history.interleaved", "Results that are open at the same time do not disturb each other.",
        interleaved, 8},
       {"history.overwrite",
        "If a time is written twice, one of the two values stays unchanged, and the same one for "
        "all rows.",
        overwrite, 8},
       {"history.failed_entry",
        "A point that does not exist has a failed entry and no rows; the others have theirs.",
        failed_entry, 4}}};
}

}  // namespace kelpcheck
