#include "checks/expect.h"

#include <algorithm>

namespace kelpcheck {

namespace {

constexpr int64_t kRowsPerQuery = 1'000'000;

}  // namespace

void expect_fields(Evidence &e, Object object, const Fields &want, bool node,
                   const std::string &name) {
  const auto field = [&](const char *code) { return [=] { return text(code, " of ", name); }; };
  e.equal(own_name(name), get_text(object, KELP2_FIELD_NAME), field("PN"));
  e.equal(want.ed, get_text(object, KELP2_FIELD_DESCRIPTION), field("ED"));
  e.equal(want.iv, get_double(object, KELP2_FIELD_IV), field("IV"));
  if (node) e.equal(want.fq, get_int(object, KELP2_FIELD_FQ), field("FQ"));
  if (node) e.equal(want.ar, get_int(object, KELP2_FIELD_AR), field("AR"));
  if (!node) e.equal(want.hw, get_int(object, KELP2_FIELD_HW), field("HW"));
}

void expect_done(Bed &bed, Op operation, const Out<int32_t> &errors) {
  for (size_t i = 0; i < errors.size(); ++i) {
    bed.c.evidence.equal(0, errors[i],
                         [&] { return text("entry ", i + 1, " of ", name_of(operation)); });
  }
}

void expect_readings(Bed &bed, const Readings &have, const std::vector<size_t> &order,
                     const Moment &moment) {
  Evidence &e = bed.c.evidence;
  for (size_t i = 0; i < order.size(); ++i) {
    const auto where = [&] { return text(bed.names[order[i]], " at ", clock_text(moment.time)); };
    if (!e.equal(0, have.errors[i], [&] { return "entry of " + where(); })) continue;
    Sample want = moment.window.at(order[i], moment.row);
    want.time = moment.with_times ? moment.time : have.times[i];
    expect_sample(e, want, have[i], where);
  }
}

void expect_rows(Bed &bed, const History &history, size_t result, const Stretch &want) {
  Evidence &e = bed.c.evidence;
  const std::string &name = bed.names[want.point];
  if (!e.equal(0, history.errors[result], [&] { return "entry of " + name; })) return;
  const int64_t rows = history.rows(result);
  e.equal(want.last - want.first, rows, [&] { return "number of rows of " + name; });
  for (int64_t row = want.first; row < std::min(want.last, want.first + rows); ++row) {
    expect_sample(e, want.window.at(want.point, row), history.next(result),
                  [&] { return want.window.place(want.point, row); });
  }
}

void expect_history(Bed &bed, bool by_name, const Window &window,
                    const std::vector<size_t> &points) {
  const size_t step = std::max<int64_t>(1, kRowsPerQuery / window.rows);
  for (size_t begin = 0; begin < points.size(); begin += step) {
    const std::vector<size_t> some(points.begin() + begin,
                                   points.begin() + std::min(begin + step, points.size()));
    const History history = bed.session->history(bed.who(by_name, some), window.begin, window.end);
    for (size_t i = 0; i < some.size(); ++i) {
      expect_rows(bed, history, i, {window, some[i], 0, window.rows});
      bed.c.progress(begin + i + 1, points.size());
    }
  }
}

void write_history(Bed &bed, bool by_name, const Window &window, const std::vector<size_t> &points,
                   bool later_block_first) {
  const int64_t block = std::min(kRowsPerCall, (window.rows + 1) / 2);
  const int64_t blocks = (window.rows + block - 1) / block;
  size_t done = 0;
  for (const size_t point : points) {
    for (int64_t i = 0; i < blocks; ++i) {
      const int64_t first = (later_block_first ? blocks - 1 - i : i) * block;
      const Columns rows = window.columns(point, first, std::min(first + block, window.rows));
      const Out<int32_t> error = by_name ? bed.session->write_history(bed.names[point], rows)
                                         : bed.session->write_history(bed.ids[point], rows);
      bed.c.evidence.equal(0, error[0], [&] { return "entry of " + bed.names[point]; });
    }
    bed.c.progress(++done, points.size());
  }
}

}  // namespace kelpcheck
