#include "checks/ground.h"

#include <algorithm>

namespace kelpcheck {

namespace {

Columns columns_of(const std::vector<Sample> &rows) {
  Columns columns;
  for (const Sample &row : rows) columns.add(row);
  return columns;
}

}  // namespace

Answer taken_of(int64_t taken, int64_t refused) {
  if (refused == 0) return Answer::taken;
  return taken == 0 ? Answer::refused : Answer::some;
}

std::string refusal_of(const std::function<void()> &call) {
  try {
    call();
    return "";
  } catch (const CallFailed &failure) {
    return failure.what();
  }
}

std::vector<Sample> rows_of(const History &history, size_t result) {
  std::vector<Sample> rows;
  const int32_t count = history.rows(result);
  for (int32_t row = 0; row < count; ++row) rows.push_back(history.next(result));
  return rows;
}

std::vector<Sample> read_rows(Bed &bed, int32_t id, int32_t begin, int32_t end) {
  return rows_of(bed.session->history(Ids{id}, begin, end), 0);
}

Range around(int64_t first, int64_t last) {
  constexpr int64_t wider = 1000;
  return {static_cast<int32_t>(std::max<int64_t>(first - wider, INT32_MIN)),
          static_cast<int32_t>(std::min<int64_t>(last + wider, INT32_MAX))};
}

Ground::Ground(Bed &bed_) : bed(bed_), ledgers(bed_.points()) {}

// `points` has one entry per row, or a single one where all rows are of one point.
std::string Ground::enter(Way way, const std::vector<size_t> &points,
                          const std::vector<Sample> &rows,
                          const std::function<Out<int32_t>()> &write) {
  ++calls_;
  std::string refusal;
  std::vector<bool> done(rows.size(), false);
  const std::string failed = refusal_of([&] {
    const Out<int32_t> errors = write();
    for (size_t i = 0; i < rows.size(); ++i) {
      const int32_t error = errors[std::min(i, errors.size() - 1)];
      done[i] = error == 0;
      if (error != 0 && refusal.empty()) refusal = text("entry ", error);
    }
  });
  for (size_t i = 0; i < rows.size(); ++i) {
    Ledger &ledger = ledgers[points[std::min(i, points.size() - 1)]];
    if (done[i]) ledger.add(way, calls_, rows[i]);
    if (!done[i]) ledger.add_doubtful(way, calls_, rows[i]);
  }
  return failed.empty() ? refusal : failed;
}

std::string Ground::history(size_t point, const std::vector<Sample> &rows, bool by_name) {
  const Columns columns = columns_of(rows);
  return enter(Way::history, {point}, rows, [&] {
    if (by_name) return bed.session->write_history(bed.names[point], columns);
    return bed.session->write_history(bed.ids[point], columns);
  });
}

std::string Ground::current(const std::vector<size_t> &points, int32_t time,
                            const std::vector<Sample> &rows) {
  std::vector<Sample> at_time = rows;
  for (Sample &row : at_time) row.time = time;
  return enter(Way::current, points, at_time, [&] {
    return bed.session->write_value(std::get<Ids>(bed.who(false, points)), time, columns_of(rows));
  });
}

std::string Ground::snapshot(const std::vector<size_t> &points, int32_t time,
                             const std::vector<Sample> &rows) {
  std::vector<Sample> at_time = rows;
  for (Sample &row : at_time) row.time = time;
  return enter(Way::snapshot, points, at_time, [&] {
    return bed.session->write_snap(std::get<Ids>(bed.who(false, points)), time, columns_of(rows));
  });
}

std::string Ground::cache(const std::vector<size_t> &points, const std::vector<Sample> &rows) {
  return enter(Way::cache, points, rows, [&] {
    return bed.session->write_cache(std::get<Ids>(bed.who(false, points)), columns_of(rows));
  });
}

std::string Ground::cache_one(size_t point, const std::vector<Sample> &rows) {
  return enter(Way::cache, {point}, rows,
               [&] { return bed.session->write_cache_one(bed.ids[point], columns_of(rows)); });
}

Seen Ground::compare_moment(Evidence &e, size_t point, int32_t time, const Alternative &have) {
  const Habits &habits = bed.c.habits;
  const Ledger &ledger = ledgers[point];
  const Alternatives want = ledger.settled(habits, time);
  ++e.compared;
  if (among(want, have)) return Seen::expected;
  if (e.differences++ == 0) {
    e.keep(text(bed.described(point), " at ", clock_text(time)), show(want), show(have));
  }
  return among(ledger.pending(habits, time), have) ? Seen::earlier : Seen::wrong;
}

// A row at the end itself may be there or not.
Seen Ground::compare(Evidence &e, size_t point, const std::vector<Sample> &rows, int32_t begin,
                     int32_t end) {
  Seen seen = Seen::expected;
  const std::vector<int32_t> times = ledgers[point].times(begin, end);
  size_t next = 0;
  for (size_t i = 0; i < rows.size();) {
    const int32_t time = rows[i].time;
    Alternative have;
    for (; i < rows.size() && rows[i].time == time; ++i) have.push_back(rows[i]);
    for (; next < times.size() && times[next] < time; ++next) {
      seen = std::max(seen, compare_moment(e, point, times[next], {}));
    }
    if (next < times.size() && times[next] == time) ++next;
    const bool in_range = time >= begin && time <= end;
    const bool in_order = i == rows.size() || rows[i].time > time;
    if (!in_range || !in_order) {
      const int32_t wrong = in_range ? rows[i].time : time;
      e.that(
          false, [&] { return text("history of ", bed.described(point)); },
          text("times from ", clock_text(begin), " to ", clock_text(end), " in their order"),
          clock_text(wrong));
      return Seen::wrong;
    }
    seen = std::max(seen, compare_moment(e, point, time, have));
  }
  for (; next < times.size(); ++next) {
    seen = std::max(seen, compare_moment(e, point, times[next], {}));
  }
  return seen;
}

void Ground::learn_from(size_t point, const std::vector<Sample> &rows, int32_t end) {
  if (end == INT32_MAX) return;  // what is behind it no range can ask for
  const Alternatives at_end = ledgers[point].settled(bed.c.habits, end);
  if (among(at_end, {})) return;
  const bool inside = !rows.empty() && rows.back().time == end;
  const std::string where =
      text("a range of ", bed.names[point], " that ends at ", clock_text(end));
  if (inside) bed.c.read(Question::range_end, Answer::inside, where, "a row at its end");
  if (!inside) bed.c.read(Question::range_end, Answer::outside, where, "no row at its end");
}

void Ground::tolerate_refusals_beyond(int32_t begin, int32_t end) {
  plain_begin_ = begin;
  plain_end_ = end;
}

bool Ground::may_be_refused(int32_t begin, int32_t end) const {
  return begin < plain_begin_ || end > plain_end_ || begin >= end;
}

// None where the call was refused and there is nothing that it had to give.
std::optional<History> Ground::history_or_nothing(const std::vector<size_t> &points, bool by_name,
                                                  int32_t begin, int32_t end) {
  try {
    return bed.session->history(bed.who(by_name, points), begin, end);
  } catch (const CallFailed &) {
    if (may_be_refused(begin, end)) return {};
    for (const size_t point : points) {
      for (const int32_t time : ledgers[point].times(begin, end)) {
        if (!among(ledgers[point].settled(bed.c.habits, time), {})) throw;
      }
    }
    return {};
  }
}

void Ground::expect_history(const std::vector<size_t> &points, bool by_name, int32_t begin,
                            int32_t end) {
  std::vector<std::vector<Sample>> rows(points.size());
  settle(bed, [&](Evidence &e) {
    const std::optional<History> read = history_or_nothing(points, by_name, begin, end);
    if (!read) return Seen::expected;
    const History &history = *read;
    Seen seen = Seen::expected;
    for (size_t i = 0; i < points.size(); ++i) {
      rows[i] = rows_of(history, i);
      if (history.errors[i] != 0 && !rows[i].empty()) {
        e.that(
            false, [&] { return text("a failed entry of ", bed.names[points[i]]); }, "no rows",
            text(rows[i].size(), " rows"));
        return Seen::wrong;
      }
      if (history.errors[i] != 0 && may_be_refused(begin, end)) continue;
      seen = std::max(seen, compare(e, points[i], rows[i], begin, end));
    }
    return seen;
  });
  if (bed.c.evidence.differences > 0) return;
  for (size_t i = 0; i < points.size(); ++i) {
    if (begin < end) learn_from(points[i], rows[i], end);
    for (const int32_t time : ledgers[points[i]].times(begin, end)) {
      ledgers[points[i]].mark_settled(time);
    }
  }
}

void Ground::expect_everything(size_t point, bool by_name) {
  const std::vector<int32_t> times = ledgers[point].times(INT32_MIN, int64_t{INT32_MAX} + 1);
  if (times.empty()) return;
  const Range range = around(times.front(), times.back());
  expect_history({point}, by_name, range.begin, range.end);
}

std::optional<Readings> Ground::values_or_nothing(const std::vector<size_t> &points, bool by_name) {
  try {
    return bed.session->values(bed.who(by_name, points));
  } catch (const CallFailed &) {
    for (const size_t point : points) {
      if (!among(ledgers[point].current_settled(bed.c.habits), {})) throw;
    }
    return {};
  }
}

void Ground::expect_current(const std::vector<size_t> &points, bool by_name) {
  settle(bed, [&](Evidence &e) {
    const std::optional<Readings> read = values_or_nothing(points, by_name);
    if (!read) return Seen::expected;
    const Readings &have = *read;
    Seen seen = Seen::expected;
    for (size_t i = 0; i < points.size(); ++i) {
      Alternative reading;
      if (have.errors[i] == 0) reading.push_back(have[i]);
      const Ledger &ledger = ledgers[points[i]];
      const Alternatives want = ledger.current_settled(bed.c.habits);
      ++e.compared;
      if (among(want, reading)) continue;
      if (e.differences++ == 0) {
        e.keep(text("current value of ", bed.described(points[i])), show(want), show(reading));
      }
      const bool earlier = among(ledger.current_pending(bed.c.habits), reading);
      seen = std::max(seen, earlier ? Seen::earlier : Seen::wrong);
    }
    return seen;
  });
  if (bed.c.evidence.differences > 0) return;
  for (const size_t point : points) ledgers[point].mark_current_settled();
}

}  // namespace kelpcheck
