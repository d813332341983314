#include "checks/expect.h"

#include <algorithm>

namespace kelpcheck {

namespace {

constexpr int64_t kRowsPerQuery = 1'000'000;

bool surely_kept(Bed &bed, Question question) {
  return bed.c.habits.is(question, Answer::kept) && bed.c.habits.unknown(question).empty();
}

// Whether it is what a row before gave, or there was none.
bool was_before(const Moment &moment, size_t point, const Sample &have) {
  if (moment.row == 0) return true;
  if (!moment.with_times) return true;  // any older snapshot
  for (int64_t row = moment.row; row-- > 0;) {
    const Sample before = moment.window.at(point, row);
    if (have.status == before.status && have.value == before.value) return true;
  }
  return false;
}

}  // namespace

void expect_fields(Bed &bed, Evidence &e, Object object, const Fields &want, bool node,
                   const std::string &name) {
  const auto field = [&](const char *code) {
    return [code, &name] { return text(code, " of ", name); };
  };
  e.equal(own_name(name), get_text(object, KELP2_FIELD_NAME), field("PN"));
  e.equal(want.ed, get_text(object, KELP2_FIELD_DESCRIPTION), field("ED"));
  if (surely_kept(bed, node ? Question::field_iv_node : Question::field_iv_point)) {
    e.equal(want.iv, get_double(object, KELP2_FIELD_IV), field("IV"));
  }
  if (node && surely_kept(bed, Question::field_fq_node)) {
    e.equal(want.fq, get_int(object, KELP2_FIELD_FQ), field("FQ"));
  }
  if (node && surely_kept(bed, Question::field_ar_node)) {
    e.equal(want.ar, get_int(object, KELP2_FIELD_AR), field("AR"));
  }
  if (!node && surely_kept(bed, Question::field_hw_point)) {
    e.equal(want.hw, get_int(object, KELP2_FIELD_HW), field("HW"));
  }
}

// Of kelp2_write_value only an entry below 0 is one that failed.
void expect_done(Bed &bed, Op operation, const Out<int32_t> &errors) {
  for (size_t i = 0; i < errors.size(); ++i) {
    const bool counts_negative = operation == Op::write_value;
    const bool done = counts_negative ? errors[i] >= 0 : errors[i] == 0;
    bed.c.evidence.that(
        done, [&] { return text("entry ", i + 1, " of ", name_of(operation)); }, "0",
        show(errors[i]));
  }
}

void expect_readings(Bed &bed, const std::function<Readings()> &read,
                     const std::vector<size_t> &order, const Moment &moment) {
  settle(bed, [&](Evidence &e) {
    const Readings have = read();
    Seen seen = Seen::expected;
    for (size_t i = 0; i < order.size(); ++i) {
      const auto where = [&] { return text(bed.names[order[i]], " at ", clock_text(moment.time)); };
      if (!e.equal(0, have.errors[i], [&] { return "entry of " + where(); })) {
        seen = std::max(seen, Seen::earlier);
        continue;
      }
      Sample want = moment.window.at(order[i], moment.row);
      want.time = moment.with_times ? moment.time : have.times[i];
      const int64_t before = e.differences;
      expect_sample(e, want, have[i], where);
      if (e.differences == before) continue;
      const bool earlier = was_before(moment, order[i], have[i]);
      seen = std::max(seen, earlier ? Seen::earlier : Seen::wrong);
    }
    return seen;
  });
}

Seen compare_rows(Bed &bed, Evidence &e, const History &history, size_t result,
                  const Stretch &want) {
  const std::string &name = bed.names[want.point];
  const auto missing = [&](int64_t row) {
    const auto where = [&] { return want.window.place(want.point, row); };
    e.that(false, where, show(want.window.at(want.point, row).value), "no such row");
  };
  const auto entry = [&] { return "entry of " + name; };
  if (want.first < want.last && !e.equal(0, history.errors[result], entry)) return Seen::earlier;
  const bool readable = history.errors[result] == 0;
  const int64_t rows = readable ? std::max(0, history.rows(result)) : 0;
  int64_t row = want.first;
  Seen seen = Seen::expected;
  for (int64_t i = 0; i < rows; ++i) {
    const Sample have = history.next(result);
    for (; row < want.last && want.window.at(want.point, row).time < have.time; ++row) {
      missing(row);
      seen = Seen::earlier;
    }
    const auto where = [&] { return want.window.place(want.point, row); };
    const int64_t before = e.differences;
    if (row < want.last) expect_sample(e, want.window.at(want.point, row), have, where);
    e.that(
        row < want.last, [&] { return "number of rows of " + name; }, text(want.last - want.first),
        text(rows));
    if (e.differences > before) return Seen::wrong;
    ++row;
  }
  for (; row < want.last; ++row) {
    missing(row);
    seen = Seen::earlier;
  }
  return seen;
}

void expect_history(Bed &bed, bool by_name, const Window &window,
                    const std::vector<size_t> &points) {
  const size_t step = std::max<int64_t>(1, kRowsPerQuery / window.rows);
  for (size_t begin = 0; begin < points.size(); begin += step) {
    const size_t end = std::min(begin + step, points.size());
    const std::vector<size_t> some(points.begin() + begin, points.begin() + end);
    settle(bed, [&](Evidence &e) {
      const History history =
          bed.session->history(bed.who(by_name, some), window.begin, window.end);
      Seen seen = Seen::expected;
      for (size_t i = 0; i < some.size(); ++i) {
        const Stretch all{window, some[i], 0, window.rows};
        seen = std::max(seen, compare_rows(bed, e, history, i, all));
        bed.c.progress(begin + i + 1, points.size());
      }
      return seen;
    });
  }
}

void write_history(Bed &bed, bool by_name, const Window &window, const std::vector<size_t> &points,
                   bool later_block_first) {
  const int64_t block = std::min(kRowsPerCall, (window.rows + 1) / 2);
  const int64_t blocks = (window.rows + block - 1) / block;
  size_t done = 0;
  for (const size_t point : points) {
    for (int64_t i = 0; i < blocks; ++i) {
      const int64_t number = later_block_first ? blocks - 1 - i : i;
      const int64_t first = number * block;
      const int64_t last = std::min(first + block, window.rows);
      const Columns rows = window.columns(point, first, last);
      const Out<int32_t> error = by_name ? bed.session->write_history(bed.names[point], rows)
                                         : bed.session->write_history(bed.ids[point], rows);
      bed.c.evidence.equal(0, error[0], [&] { return "entry of " + bed.names[point]; });
    }
    bed.c.progress(++done, points.size());
  }
}

}  // namespace kelpcheck
