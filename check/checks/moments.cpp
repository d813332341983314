// Values of all points at one time: as current values and as snapshots, written and read back by id
// and by name. Snapshots are at times in the past and are read after all have been written; current
// values are read after each write, at times up to a moment ago by the server's clock.
#include <algorithm>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

enum class Written { current, snapshot };

void write(Bed &bed, Written way, const std::vector<size_t> &points, int32_t time,
           const Columns &rows) {
  const Ids ids = std::get<Ids>(bed.who(false, points));
  if (way == Written::current) {
    expect_done(bed, Op::write_value, bed.session->write_value(ids, time, rows));
  } else {
    expect_done(bed, Op::write_snap, bed.session->write_snap(ids, time, rows));
  }
}

Readings read(Bed &bed, Written way, const Who &who, int32_t time) {
  return way == Written::current ? bed.session->values(who) : bed.session->snap(who, time);
}

// Each check's current values are later than those of the checks before it.
enum Turn { kById, kByName, kAgain, kExtreme, kTurns };

int32_t first_time(Bed &bed, Written way, const Window &window, Turn turn) {
  constexpr int32_t margin = 60, apart = 20;
  if (way == Written::snapshot) return window.begin;
  return bed.session->time() - margin -
         (kTurns - turn) * (std::max(1, bed.c.options.samples / 10) + apart);
}

// They are read in another order than they were written in, two points twice.
template <Written way, bool by_name>
void roundtrip(Bed &bed) {
  const int32_t samples = bed.c.options.samples;
  const Window window(bed, by_name,
                      way == Written::snapshot ? (samples + 1) / 2 : std::max(1, samples / 10));
  const int32_t start = first_time(bed, way, window, by_name ? kByName : kById);
  const auto written = shuffled(bed.points());
  std::vector<size_t> order = in_order(bed.points());
  std::reverse(order.begin(), order.end());
  order.insert(order.begin(), bed.points() / 2);
  order.push_back(bed.points() - 1);
  const Who who = bed.who(by_name, order);
  const auto read_row = [&](int64_t row) {
    const int32_t time = start + static_cast<int32_t>(row);
    expect_readings(bed, [&] { return read(bed, way, who, time); }, order,
                    {window, row, time, way == Written::current});
  };
  for (int64_t row = 0; row < window.rows; ++row) {
    write(bed, way, written, start + static_cast<int32_t>(row), window.across(written, row));
    if (way == Written::current) read_row(row);
    bed.c.progress(row + 1, window.rows, Unit::rows);
  }
  for (int64_t row = window.rows; way == Written::snapshot && row-- > 0;) read_row(row);
}

// Every other point is written once more, current values later, snapshots at the same time: those
// points have the new value (of snapshots it may be the old one, for all alike), the others theirs.
template <Written way>
void again(Bed &bed) {
  const Window old(bed, 2, 1), fresh(bed, 3, 1);
  const int32_t time = first_time(bed, way, old, kAgain);
  const int32_t second = way == Written::current ? time + 1 : time;
  const bool by_time = way == Written::current;
  std::vector<size_t> some, others;
  for (size_t i = 0; i < bed.points(); ++i) (i % 2 == 0 ? some : others).push_back(i);
  const auto read_of = [&](bool by_name, const std::vector<size_t> &points) {
    return [&bed, by_name, points, time] { return read(bed, way, bed.who(by_name, points), time); };
  };
  write(bed, way, in_order(bed.points()), time, old.across(in_order(bed.points()), 0));
  expect_readings(bed, read_of(false, some), some, {old, 0, time, by_time});
  if (way == Written::snapshot) bed.c.need(Question::second_snapshot);
  const Habits &habits = bed.c.habits;
  if (way == Written::snapshot && habits.is(Question::second_snapshot, Answer::refused)) {
    throw Moot("a second snapshot at the same time is refused");
  }
  write(bed, way, some, second, fresh.across(some, 0));
  const bool replaced = by_time || habits.is(Question::second_snapshot, Answer::replaces);
  const bool stays = habits.is(Question::second_snapshot, Answer::ignored);
  if (replaced || stays) {
    const auto second_read = [&] { return read(bed, way, bed.who(false, some), second); };
    expect_readings(bed, second_read, some, {replaced ? fresh : old, 0, second, by_time});
  }
  expect_readings(bed, read_of(true, others), others, {old, 0, time, by_time});
}

template <Written way>
void extremes(Bed &bed) {
  const Window window(bed, 4, 1);
  const auto all = in_order(bed.points());
  const int32_t first = first_time(bed, way, window, kExtreme);
  for (size_t i = 0; i < kExtremes; ++i) {
    const int32_t time = first + static_cast<int32_t>(i);
    Columns rows;
    for (const size_t point : all) rows.add(extreme(bed.kind(point), i, time));
    write(bed, way, all, time, rows);
    settle_equal(bed, [&](Evidence &e) {
      const Readings have = read(bed, way, bed.ids, time);
      for (const size_t point : all) {
        Sample want = extreme(bed.kind(point), i, time);
        if (way == Written::snapshot) want.time = have.times[point];
        expect_sample(e, want, have[point], [&] { return bed.described(point); });
      }
    });
  }
}

}  // namespace

Family values_family() {
  return {
      "values",
      Tree::made,
      {{"values.byid.roundtrip",
        "Every point has the current value, time and status that were "
        "written last, read by id.",
        roundtrip<Written::current, false>, 4},
       {"values.byname.roundtrip", "The same read by name.", roundtrip<Written::current, true>, 4},
       {"values.later", "A later value replaces the value of its own point and of no other.",
        again<Written::current>},
       {"values.extremes", "Each kind keeps all the values that it can hold.",
        extremes<Written::current>}}};
}

Family snapshot_family() {
  return {"snapshot",
          Tree::made,
          {{"snapshot.byid.roundtrip",
            "Every point has, at each time, the value and status that a "
            "snapshot gave it, read by id.",
            roundtrip<Written::snapshot, false>, 8},
           {"snapshot.byname.roundtrip", "The same read by name.",
            roundtrip<Written::snapshot, true>, 8},
           {"snapshot.again",
            "A second snapshot at the same time concerns its own points, all of "
            "them alike, and no others.",
            again<Written::snapshot>},
           {"snapshot.extremes", "Each kind keeps all the values that it can hold.",
            extremes<Written::snapshot>}}};
}

}  // namespace kelpcheck
