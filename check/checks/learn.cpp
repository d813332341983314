// What this server does where the header leaves it open, learnt on plain ground: by id, in one
// session, in small blocks, each question on points of its own. What is learnt here all other
// checks hold the server to.
#include "checks/learn.h"

namespace kelpcheck {

void read_refused(Bed &bed, Question question, const std::string &where,
                  const std::string &refusal) {
  if (entry_of(question).all().has(Answer::refused)) {
    bed.c.read(question, Answer::refused, where, refusal);
    return;
  }
  bed.c.evidence.that(
      false, [&] { return where + ", in one call with the first"; }, "taken", refusal);
}

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

namespace {

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
  const int32_t begin = bed.c.begin - 500'000;
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
  const int32_t first = bed.c.begin, second = first + 100;
  ground.history(kRanges, {{first, 1, 11.5}, {second, 2, -12.5}});
  ground.expect_everything(kRanges);
  explain_loss(bed);
  ground.expect_history({kRanges}, false, first, second);
  ground.expect_history({kRanges}, false, first + 1, second);
  empty_result(bed);
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
  const int32_t time = bed.c.begin + 5000;
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

// How long cached rows take, and whether all of them come.
void cache(Bed &bed) {
  Ground ground(bed);
  const int32_t time = bed.c.begin + 50000;
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
      {{"habits.begin", "The server accepts a row of history.", begin_of_data},
       {"habits.ranges", "The end of a range either always belongs to it or never does.",
        range_end},
       {"habits.second_value",
        "Of two values at the same time, always the same one stays, or always both.", second_value},
       {"habits.current",
        "A current value written later replaces the one before; one with an older time always "
        "does, or never.",
        current},
       {"habits.current_in_history", "Current values always, never or partly become history.",
        current_in_history},
       {"habits.snapshots",
        "Snapshots always or never become history, and always or never set current values.",
        learn_snapshots},
       {"habits.snapshot_reads",
        "What a snapshot shows between two values, and before the first one, is always the same.",
        learn_between},
       {"habits.snapshots_of_others",
        "Snapshots always or never show values written to history, and current values.",
        learn_snapshots_of_others},
       {"habits.second_snapshot", "Of two snapshots at the same time, always the same one stays.",
        learn_second_snapshot},
       {"habits.fields", "Fields that the header leaves to the server always keep the same values.",
        learn_fields},
       {"habits.cache",
        "Cached rows always become history in the same way: at once, later, partly or never.",
        cache}}};
}

}  // namespace kelpcheck
