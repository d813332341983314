// What snapshots give: at the time of a value, between two, before the first; what becomes history
// or the current value; and which of two stays.
#include "checks/learn.h"

namespace kelpcheck {

namespace {

// One reading of a snapshot among samples of known times.
struct Read {
  bool failed = false;
  Sample sample;
};

Read snapshot_of(Bed &bed, size_t point, int32_t time) {
  Read read;
  const std::string refusal = refusal_of([&] {
    const Readings readings = bed.session->snap(Ids{bed.ids[point]}, time);
    read.failed = readings.errors[0] != 0;
    read.sample = {time, readings.statuses[0], readings.values[0]};
  });
  if (!refusal.empty()) read.failed = true;
  return read;
}

std::string show_read(const Read &read) {
  return read.failed ? "no value"
                     : text(show(read.sample.value), " with status ", read.sample.status);
}

bool is(const Read &read, const Sample &sample) {
  return !read.failed && read.sample.value == sample.value && read.sample.status == sample.status;
}

}  // namespace

void learn_snapshots(Bed &bed) {
  Ground ground(bed);
  const int32_t now = bed.session->time() - 500;
  std::vector<Sample> rows;
  const size_t fresh = kSnapshot, valued = kSnapshot + 1;
  ground.current({valued}, now - 50, {{0, 1, 1.5}});
  ground.expect_current({valued}, false);
  for (int i = 0; i < 3; ++i) {
    rows.push_back({now + i * 10, static_cast<int16_t>(i), i * 2.5});
    ground.snapshot({fresh, valued}, rows.back().time, {rows.back(), rows.back()});
  }
  read_in_history(bed, Question::snapshot_in_history, fresh, rows);
  wait_longest(bed);
  const std::string where = "current value after a snapshot";
  const Readings readings = bed.session->values(Ids{bed.ids[valued]});
  const bool stayed = readings.errors[0] == 0 && readings.times[0] == now - 50;
  const Answers sets{Answer::if_newer, Answer::always};
  bed.c.read(Question::snapshot_sets_current, stayed ? Answers(Answer::never) : sets, where,
             clock_text(readings.times[0]));
  if (stayed) return;
  ground.snapshot({valued}, now - 200, {{0, 9, 9.5}});
  const auto older = [&] {
    return bed.session->values(Ids{bed.ids[valued]}).times[0] == now - 200;
  };
  const bool set = older() || settles(bed, older);
  bed.c.read(Question::snapshot_sets_current, set ? Answer::always : Answer::if_newer,
             "current value after an older snapshot", set ? "the snapshot" : "the newer one");
}

void learn_between(Bed &bed) {
  Ground ground(bed);
  const int32_t time = bed.c.begin + 20000;
  const Sample first{time, 1, 10}, last{time + 100, 2, 30};
  for (const Sample &sample : {first, last}) ground.snapshot({kBetween}, sample.time, {sample});
  settles(bed, [&] { return is(snapshot_of(bed, kBetween, last.time), last); });
  const Read middle = snapshot_of(bed, kBetween, time + 50);
  Answers seen;
  if (middle.failed) seen = Answer::none;
  if (is(middle, first)) seen = Answer::earlier;
  if (is(middle, last)) seen = Answer::following;
  if (!middle.failed && middle.sample.value == 20) seen = Answer::on_line;
  bed.c.read(Question::snapshot_between, seen, "snapshot between two", show_read(middle));
  const Read before = snapshot_of(bed, kBetween, time - 10'000);
  seen = {};
  if (before.failed) seen = Answer::none;
  if (is(before, first)) seen = Answer::following;
  if (!before.failed && before.sample.value == 0) seen = Answer::zero;
  bed.c.read(Question::snapshot_before_first, seen, "snapshot before the first", show_read(before));
}

// Values written in other ways, read as snapshots at their own time.
void learn_snapshots_of_others(Bed &bed) {
  Ground ground(bed);
  const int32_t time = bed.c.begin + 30000, now = bed.session->time() - 300;
  const Sample past{time, 4, 44}, current{now, 5, 55};
  const auto ask = [&](Question question, size_t point, const Sample &sample) {
    Read read;
    const auto look = [&] {
      read = snapshot_of(bed, point, sample.time);
      return is(read, sample);
    };
    const bool seen = look() || settles(bed, look);
    bed.c.read(question, seen ? Answer::yes : Answer::no, "snapshot of " + bed.names[point],
               show_read(read));
  };
  ground.history(kBetween + 1, {past});
  ground.expect_everything(kBetween + 1);
  ask(Question::snapshot_of_history, kBetween + 1, past);
  ground.current({kBetween + 2}, now, {current});
  ground.expect_current({kBetween + 2}, false);
  ask(Question::snapshot_of_current, kBetween + 2, current);
}

void learn_second_snapshot(Bed &bed) {
  Ground ground(bed);
  const int32_t time = bed.c.begin + 40000;
  const size_t point = kSnapshot + 2, other = kSnapshot + 3;
  const Sample first{time, 1, 15}, second{time, 2, 25};
  const auto ask = [&](Question question, size_t where, const std::string &refusal) {
    Read read;
    const auto look = [&] {
      read = snapshot_of(bed, where, time);
      return is(read, second);
    };
    if (refusal.empty() && !look()) settles(bed, look);
    Answers seen;
    if (is(read, first)) seen = Answers{Answer::ignored, Answer::both};
    if (is(read, second)) seen = Answers{Answer::replaces, Answer::both};
    const std::string place = "second snapshot of " + bed.names[where];
    if (!refusal.empty()) {
      read_refused(bed, question, place, refusal);
      return;
    }
    bed.c.read(question, seen, place, show_read(read));
    if (!bed.c.habits.is(Question::snapshot_in_history, Answer::yes)) return;
    const size_t rows = read_rows(bed, bed.ids[where], time - 1, time + 1).size();
    bed.c.read(question,
               rows == 2 ? Answers(Answer::both) : Answers{Answer::replaces, Answer::ignored},
               "history of " + bed.names[where], text(rows, " rows"));
  };
  ground.snapshot({point}, time, {first});
  settles(bed, [&] { return is(snapshot_of(bed, point, time), first); });
  ask(Question::second_snapshot, point, ground.snapshot({point}, time, {second}));
  ask(Question::second_snapshot_in_call, other,
      ground.snapshot({other, other}, time, {first, second}));
}

}  // namespace kelpcheck
