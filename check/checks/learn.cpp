// What this server does where the header leaves it open, learnt on plain ground: by id, in one
// session, in small blocks, each question on points of its own. What is learnt here all other
// checks hold the server to.
#include <algorithm>
#include <cmath>

#include "checks/families.h"
#include "checks/ground.h"
#include "probe/series.h"

namespace kelpcheck {

namespace {

// Points of the bed by use; there are five kinds, a point of each in turn.
enum Use : size_t {
  kRanges = 0,
  kBegin = 1,
  kSecond = 5,
  kCurrent = 10,
  kMarker = 15,
  kOlder = 20,
  kSnapshot = 25,
  kBetween = 30,
  kCache = 45,
  kFields = 50
};

int32_t start_of(Bed &bed) { return bed.c.begin; }

// A server may keep some years only: where it refuses rows of the time that was asked for, the
// run's data begin later.
void begin_of_data(Bed &bed) {
  constexpr int32_t day = 86'400;
  const int32_t now = bed.session->time();
  std::string refusals;
  for (const int32_t begin : {bed.c.begin, now - 400 * day, now - 30 * day}) {
    Ground ground(bed);
    const std::string refusal = ground.history(kBegin, {{begin, 1, 5}});
    if (!refusal.empty()) {
      refusals += text(refusals.empty() ? "" : "; ", clock_text(begin), ": ", refusal);
      continue;
    }
    ++bed.c.evidence.compared;
    if (begin == bed.c.begin) return;
    bed.c.finding("Rows that old are refused", clock_text(bed.c.begin));
    bed.c.finding("The run's data begin", clock_text(begin) + ", see --begin");
    bed.c.move_begin(begin);
    return;
  }
  bed.c.evidence.that(
      false, [] { return std::string("a row of history"); }, "taken", refusals);
}

// Rows that were acknowledged and are gone: are those of now there?
void explain_loss(Bed &bed) {
  Evidence &e = bed.c.evidence;
  if (e.differences == 0) return;
  const int32_t now = bed.session->time() - 1000;
  Columns row;
  row.add({now, 1, 7});
  if (!refusal_of([&] { bed.session->write_history(bed.ids[kBegin], row); }).empty()) return;
  wait_longest(bed);
  if (read_rows(bed, bed.ids[kBegin], now - 10, now + 10).size() != 1) return;
  e.got += " (rows of now are there: --begin DATE moves the run's data)";
}

// How it says that there are no rows.
void empty_result(Bed &bed) {
  const int32_t begin = start_of(bed) - 500'000;
  Answers seen;
  std::string got;
  const std::string refusal = refusal_of([&] {
    const History history = bed.session->history(Ids{bed.ids[kRanges]}, begin, begin + 100);
    const int32_t rows = history.rows(0);
    seen = history.errors[0] != 0 ? Answer::failed_entry
           : rows < 0             ? Answer::minus_rows
                                  : Answer::no_rows;
    got = text("entry ", history.errors[0], ", ", rows, " rows");
  });
  if (!refusal.empty()) seen = Answer::failed_call;
  bed.c.read(Question::empty_result, seen, "a range without rows", refusal + got);
}

// Two rows apart, and whether a range that ends at the second one gives it.
void range_end(Bed &bed) {
  Ground ground(bed);
  const int32_t first = start_of(bed), second = first + 100;
  ground.history(kRanges, {{first, 1, 11.5}, {second, 2, -12.5}});
  ground.expect_everything(kRanges);
  explain_loss(bed);
  ground.expect_history({kRanges}, false, first, second);
  ground.expect_history({kRanges}, false, first + 1, second);
  empty_result(bed);
}

// A point and a time may occur more than once in a call; in another call they may be refused.
void read_refused(Bed &bed, Question question, const std::string &where,
                  const std::string &refusal) {
  if (entry_of(question).all().has(Answer::refused)) {
    bed.c.read(question, Answer::refused, where, refusal);
    return;
  }
  bed.c.evidence.that(
      false, [&] { return where + ", in one call with the first"; }, "taken", refusal);
}

// What of two values of one time there is once a later write is readable: then the second one is
// readable too, or never will be.
void read_second(Bed &bed, Ground &ground, size_t point, Question question, int32_t time,
                 const Sample &first, const Sample &second, const std::string &refusal) {
  const std::string where = text("second value of ", bed.names[point], " at ", clock_text(time));
  if (!refusal.empty()) {
    read_refused(bed, question, where, refusal);
    return;
  }
  ground.history(kMarker, {{time, 3, 0.25}});
  ground.expect_history({kMarker}, false, time - 1, time + 1);
  wait_longest(bed);
  const Range range = around(time, time);
  Alternative rows;
  for (const Sample &row : read_rows(bed, bed.ids[point], range.begin, range.end)) {
    if (row.time == time) rows.push_back(row);
  }
  Answers seen;
  if (same(rows, {second})) seen = Answer::replaces;
  if (same(rows, {first})) seen = Answer::ignored;
  if (same(rows, {first, second})) seen = Answer::both;
  bed.c.read(question, seen, where, show(rows));
}

void second_value(Bed &bed) {
  Ground ground(bed);
  const int32_t time = start_of(bed) + 5000;
  const Sample first{time, 1, 15}, second{time, 2, 25};
  ground.history(kSecond, {first});
  ground.expect_everything(kSecond);
  const std::string refusal = ground.history(kSecond, {second});
  read_second(bed, ground, kSecond, Question::second_value, time, first, second, refusal);
  const int32_t later = time + 100;
  const Sample one{later, 3, 35}, other{later, 4, 45};
  const std::string in_call = ground.history(kSecond, {one, other});
  read_second(bed, ground, kSecond, Question::second_in_call, later, one, other, in_call);
}

// Of two current values, which one there is after the second write.
void read_newer(Bed &bed, Question question, size_t point, const Sample &first,
                const Sample &second, const std::string &refusal) {
  const std::string where = "current value of " + bed.names[point];
  if (!refusal.empty()) {
    read_refused(bed, question, where, refusal);
    return;
  }
  Alternative have;
  const auto look = [&] {
    have.clear();
    const Readings readings = bed.session->values(Ids{bed.ids[point]});
    if (readings.errors[0] == 0) have.push_back(readings[0]);
    return same(have, {second});
  };
  // Not there at once: it is late, or never comes.
  if (!look()) settles(bed, look);
  Answers seen;
  if (same(have, {first})) seen = Answer::ignored;
  if (same(have, {second})) seen = Answer::replaces;
  bed.c.read(question, seen, where, show(have));
}

void current(Bed &bed) {
  Ground ground(bed);
  const int32_t now = bed.session->time() - 1000;
  const size_t older = kOlder, equal = kOlder + 1, twice = kOlder + 2;
  const auto set = [&](size_t point, const Sample &sample) {
    return ground.current({point}, sample.time, {sample});
  };
  const Sample first{now, 5, 8}, before{now - 100, 6, -2}, beside{now, 7, 16};
  set(older, first);
  set(equal, first);
  ground.expect_current({older, equal}, false);
  read_newer(bed, Question::older_current, older, first, before, set(older, before));
  read_newer(bed, Question::equal_current, equal, first, beside, set(equal, beside));
  const std::string refusal = ground.current({twice, twice}, now, {first, beside});
  read_newer(bed, Question::second_current_in_call, twice, first, beside, refusal);
}

// Whether rows of one way are in the history once rows written later are.
void read_in_history(Bed &bed, Question question, size_t point, const std::vector<Sample> &rows) {
  const Range range = around(rows.front().time, rows.back().time);
  size_t found = 0;
  const auto look = [&] {
    found = 0;
    for (const Sample &row : read_rows(bed, bed.ids[point], range.begin, range.end)) {
      for (const Sample &written : rows) found += same(row, written) ? 1 : 0;
    }
    return found == rows.size();
  };
  if (!look()) settles(bed, look);
  bed.c.read(question,
             found == rows.size() ? Answer::yes
             : found == 0         ? Answer::no
                                  : Answer::some,
             "history of " + bed.names[point], text(found, " of ", rows.size(), " rows"));
}

void current_in_history(Bed &bed) {
  Ground ground(bed);
  const int32_t now = bed.session->time() - 500;
  std::vector<Sample> rows;
  for (int i = 0; i < 5; ++i) {
    rows.push_back({now + i * 10, static_cast<int16_t>(i), i * 2.5});
    ground.current({kCurrent}, rows.back().time, {rows.back()});
    ground.expect_current({kCurrent}, false);
  }
  read_in_history(bed, Question::current_in_history, kCurrent, rows);
}

void snapshots(Bed &bed) {
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

std::string show(const Read &read) {
  return read.failed
             ? "no value"
             : text(kelpcheck::show(read.sample.value), " with status ", read.sample.status);
}

bool is(const Read &read, const Sample &sample) {
  return !read.failed && read.sample.value == sample.value && read.sample.status == sample.status;
}

void between(Bed &bed) {
  Ground ground(bed);
  const int32_t time = start_of(bed) + 20000;
  const Sample first{time, 1, 10}, last{time + 100, 2, 30};
  for (const Sample &sample : {first, last}) ground.snapshot({kBetween}, sample.time, {sample});
  settles(bed, [&] { return is(snapshot_of(bed, kBetween, last.time), last); });
  const Read middle = snapshot_of(bed, kBetween, time + 50);
  Answers seen;
  if (middle.failed) seen = Answer::none;
  if (is(middle, first)) seen = Answer::earlier;
  if (is(middle, last)) seen = Answer::following;
  if (!middle.failed && middle.sample.value == 20) seen = Answer::on_line;
  bed.c.read(Question::snapshot_between, seen, "snapshot between two", show(middle));
  const Read before = snapshot_of(bed, kBetween, time - 10'000);
  seen = {};
  if (before.failed) seen = Answer::none;
  if (is(before, first)) seen = Answer::following;
  if (!before.failed && before.sample.value == 0) seen = Answer::zero;
  bed.c.read(Question::snapshot_before_first, seen, "snapshot before the first", show(before));
}

// Values written in other ways, read as snapshots at their own time.
void snapshots_of_others(Bed &bed) {
  Ground ground(bed);
  const int32_t time = start_of(bed) + 30000, now = bed.session->time() - 300;
  const Sample past{time, 4, 44}, current{now, 5, 55};
  const auto ask = [&](Question question, size_t point, const Sample &sample) {
    Read read;
    const auto look = [&] {
      read = snapshot_of(bed, point, sample.time);
      return is(read, sample);
    };
    const bool seen = look() || settles(bed, look);
    bed.c.read(question, seen ? Answer::yes : Answer::no, "snapshot of " + bed.names[point],
               show(read));
  };
  ground.history(kBetween + 1, {past});
  ground.expect_everything(kBetween + 1);
  ask(Question::snapshot_of_history, kBetween + 1, past);
  ground.current({kBetween + 2}, now, {current});
  ground.expect_current({kBetween + 2}, false);
  ask(Question::snapshot_of_current, kBetween + 2, current);
}

void second_snapshot(Bed &bed) {
  Ground ground(bed);
  const int32_t time = start_of(bed) + 40000;
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
    bed.c.read(question, seen, place, show(read));
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

struct FieldCase {
  const char *code;
  bool real;
  Question of_node, of_point;
};

const FieldCase kFieldCases[] = {{"FQ", false, Question::field_fq_node, Question::field_fq_point},
                                 {"AR", false, Question::field_ar_node, Question::field_ar_point},
                                 {"HW", false, Question::field_hw_node, Question::field_hw_point},
                                 {"IV", true, Question::field_iv_node, Question::field_iv_point}};

// Whether a field keeps a value, once a text of the same update is readable.
bool keeps(Bed &bed, const std::string &name, const std::string &parent, const FieldCase &field,
           double value) {
  const std::string mark = text(field.code, " is ", value);
  const std::string refusal = refusal_of([&] {
    Objects objects = bed.session->objects(Names{name});
    set(objects[0], KELP2_FIELD_DESCRIPTION, mark);
    if (field.real) set(objects[0], field.code, value);
    if (!field.real) set(objects[0], field.code, static_cast<int32_t>(value));
    if (bed.session->modify(Update, parent, objects).count != 1) throw CallFailed("not updated");
  });
  if (!refusal.empty()) return false;
  double have = 0;
  settle_equal(bed, [&](Evidence &e) {
    const Objects objects = bed.session->objects(Names{name});
    e.equal(mark, get_text(objects[0], KELP2_FIELD_DESCRIPTION), [&] { return "ED of " + name; });
    have =
        field.real ? get_double(objects[0], field.code) : double(get_int(objects[0], field.code));
  });
  return have == value;
}

void fields(Bed &bed) {
  const double small[] = {3, 5};
  const double wide[] = {70'001, -5, INT32_MAX, INT32_MIN, 0};
  const double wide_real[] = {-0.1, 1e300, -1e-300, 0};
  const std::string node = bed.full(bed.nodes[0]);
  for (const FieldCase &field : kFieldCases) {
    for (const bool of_node : {true, false}) {
      const std::string name = of_node ? node : bed.names[kFields];
      const std::string parent = of_node ? bed.c.server.database : node;
      const auto all_kept = [&](const auto &values) {
        return std::all_of(std::begin(values), std::end(values),
                           [&](double value) { return keeps(bed, name, parent, field, value); });
      };
      Answer answer = Answer::dropped;
      if (all_kept(small)) {
        const bool every = field.real ? all_kept(wide_real) : all_kept(wide);
        answer = every ? Answer::kept : Answer::narrow;
      }
      bed.c.read(of_node ? field.of_node : field.of_point, answer, text(field.code, " of ", name),
                 entry_of(field.of_node).text_of(answer));
    }
  }
}

// How long cached rows take, and whether all of them come.
void cache(Bed &bed) {
  Ground ground(bed);
  const int32_t time = start_of(bed) + 50000;
  std::vector<Sample> rows;
  for (int i = 0; i < 6; ++i) {
    rows.push_back({time + i * 10, static_cast<int16_t>(i), i + 0.5});
  }
  ground.cache({kCache, kCache, kCache, kCache, kCache, kCache}, rows);
  const Range range = around(time, time + 50);
  size_t found = 0;
  const auto look = [&] {
    found = read_rows(bed, bed.ids[kCache], range.begin, range.end).size();
    return found >= rows.size();
  };
  const double waited = bed.c.habits.longest_wait;
  const bool at_once = look();
  if (!at_once) settles(bed, look);
  bed.c.habits.longest_wait = waited;  // that of the cache is its own
  const Answer answer = at_once                ? Answer::at_once
                        : found == rows.size() ? Answer::later
                        : found == 0           ? Answer::never
                                               : Answer::some;
  bed.c.read(Question::cache, answer, "rows in the cache",
             text(found, " of ", rows.size(), " within ", bed.c.options.settle, " s"));
  if (found < rows.size()) return;
  ground.expect_everything(kCache);
  const Sample second{time, 77, 77.5};
  const std::string refusal = ground.cache({kCache}, {second});
  Alternative have;
  const auto replaced = [&] {
    have = read_rows(bed, bed.ids[kCache], time - 1, time + 1);
    return same(have, {second}) || same(have, {rows[0], second});
  };
  if (refusal.empty() && !replaced()) settles(bed, replaced);
  Answers seen;
  if (same(have, {second})) seen = Answer::replaces;
  if (same(have, {rows[0]})) seen = Answer::ignored;
  if (same(have, {rows[0], second})) seen = Answer::both;
  if (!refusal.empty()) seen = Answer::refused;
  bed.c.read(Question::second_cached, seen, "second cached value", show(have));
}

}  // namespace

Family habits_family() {
  return {
      "habits",
      Tree::few,
      {{"habits.begin", "A row of history is taken.", begin_of_data},
       {"habits.ranges", "Whether the end of a range belongs to it is always the same.", range_end},
       {"habits.second_value",
        "Of two values at one time the same one stays, or both do, each time.", second_value},
       {"habits.current",
        "A current value gives way to one written later; if not to an older one, then "
        "never.",
        current},
       {"habits.current_in_history", "Current values become history all, or none, or some.",
        current_in_history},
       {"habits.snapshots", "Snapshots are history or not, and set current values or not.",
        snapshots},
       {"habits.snapshot_reads", "Between and before values snapshots have what they have.",
        between},
       {"habits.snapshots_of_others", "History and current values are snapshots or are not.",
        snapshots_of_others},
       {"habits.second_snapshot", "Of two snapshots at one time the same one stays.",
        second_snapshot},
       {"habits.fields", "Fields whose meaning is the server's keep what they keep.", fields},
       {"habits.cache", "Cached rows become history at once, later, in part, or never.", cache}}};
}

}  // namespace kelpcheck
