// Every operation that takes values and statuses, with every edge of what each kind can hold; and
// what becomes of values that a kind does not have to hold.
#include <cfloat>
#include <cmath>
#include <set>

#include "checks/families.h"
#include "checks/ground.h"
#include "probe/series.h"

namespace kelpcheck {

namespace {

using Rows = std::vector<Sample>;

std::vector<int16_t> statuses() {
  std::set<int> all{INT16_MIN, INT16_MIN + 1, -1, 0, 1, INT16_MAX, INT16_MAX - 1, 100, 192, 1000};
  for (int bit = 1; bit < 15; ++bit) all.insert({1 << bit, (1 << bit) - 1, -(1 << bit)});
  return {all.begin(), all.end()};
}

std::vector<double> integers(int bits) {
  std::set<double> all{0, 1, -1, 10, 100, 1000, -10, -100, 9999};
  for (int bit = 1; bit < bits; ++bit) {
    const double power = std::ldexp(1, bit);
    all.insert({power - 1, -power, 1 - power});
    if (bit + 1 < bits) all.insert({power, power + 1});
  }
  return {all.begin(), all.end()};
}

std::vector<double> values(int32_t kind) {
  switch (kind) {
    case DX: return {0, 1};
    case I2: return integers(16);
    case I4: return integers(32);
    default: break;
  }
  std::vector<double> all = integers(24);
  const bool wide = kind == R8;
  for (int power = -37; power <= 38; power += 5) {
    const double value = std::pow(10, power);
    for (const double sign : {1.0, -1.0}) all.push_back(sign * double(float(value)));
  }
  for (const double value : {0.1, 1.0 / 3, 2.5, 1e-3, 123456.789}) {
    for (const double sign : {1.0, -1.0})
      all.push_back(sign * (wide ? value : double(float(value))));
  }
  all.insert(all.end(), {FLT_MAX, -FLT_MAX, FLT_MIN, -FLT_MIN});
  if (!wide) return all;
  for (const double value : {1e100, 1e-100, 1e300, 1e-300, DBL_MAX, DBL_MIN, 9007199254740991.0,
                             9007199254740992.0, 123456789.0123456789, 4294967296.0, 1e15}) {
    all.insert(all.end(), {value, -value});
  }
  return all;
}

// All values and all statuses of a kind, each at least once.
Rows rows_of_kind(int32_t kind, int32_t begin) {
  const std::vector<double> of_kind = values(kind);
  const std::vector<int16_t> all = statuses();
  Rows rows;
  for (size_t i = 0; i < std::max(of_kind.size(), all.size()); ++i) {
    rows.push_back(
        {begin + static_cast<int32_t>(i), all[i % all.size()], of_kind[i % of_kind.size()]});
  }
  return rows;
}

void history_of_values(Bed &bed) {
  Ground ground(bed);
  for (const bool by_name : {false, true}) {
    for (size_t kind = 0; kind < std::size(kKinds); ++kind) {
      const size_t point = kind + (by_name ? 5 : 0);
      const std::string refusal =
          ground.history(point, rows_of_kind(bed.kind(point), bed.c.begin), by_name);
      bed.c.evidence.equal(std::string(), refusal, [&] { return bed.described(point); });
      ground.expect_everything(point, !by_name);
    }
  }
}

void cache_of_values(Bed &bed) {
  Ground ground(bed);
  for (size_t point = 0; point < std::size(kKinds); ++point) {
    const Rows rows = rows_of_kind(bed.kind(point), bed.c.begin);
    ground.cache(std::vector<size_t>(rows.size(), point + 10), rows);
    ground.cache_one(point + 15, rows);
  }
  for (size_t point = 10; point < 20; ++point) ground.expect_everything(point);
}

void expect_snapshots(Bed &bed, const std::vector<size_t> &points, int32_t time, const Rows &want,
                      bool by_name) {
  settle_equal(bed, [&](Evidence &e) {
    const Readings have = bed.session->snap(bed.who(by_name, points), time);
    for (size_t i = 0; i < points.size(); ++i) {
      const auto where = [&] { return "snapshot of " + bed.described(points[i]); };
      e.equal(0, have.errors[i], where);
      e.equal(want[i].status, have.statuses[i], where);
      e.equal(want[i].value, have.values[i], where);
    }
  });
}

constexpr double kLongWait = 0.2;  // seconds

// One value of every kind a call, at rising times.
void moments(Bed &bed) {
  Ground ground(bed);
  const int32_t now = bed.session->time() - 5000;
  const std::vector<size_t> points{20, 21, 22, 23, 24};
  std::vector<Rows> columns;
  size_t longest = 0;
  for (const size_t point : points) {
    columns.push_back(rows_of_kind(bed.kind(point), now));
    longest = std::max(longest, columns.back().size());
  }
  // A server that takes its time is asked for a part of them.
  const size_t step = bed.c.habits.longest_wait > kLongWait ? 10 : 1;
  const auto across = [&](size_t i) {
    Rows rows;
    for (const Rows &column : columns) rows.push_back(column[i % column.size()]);
    return rows;
  };
  const std::vector<size_t> others{25, 26, 27, 28, 29};
  for (size_t i = 0; i < longest; i += step) {
    const int32_t time = now + static_cast<int32_t>(i);
    ground.current(points, time, across(i));
    ground.expect_current(points, i % 2 == 0);
    ground.snapshot(others, time, across(i));
  }
  for (size_t i = 0; i < longest; i += step) {
    expect_snapshots(bed, others, now + static_cast<int32_t>(i), across(i), i % 2 == 0);
  }
}

struct Unusual {
  Question question;
  size_t point;
  double value;
  const char *name;
};

// Taken or refused, kept or changed: but each time alike.
void unusual(Bed &bed) {
  Ground ground(bed);
  const size_t r8 = 30, ax = 31, i4 = 32, i2 = 33, dx = 34;
  const Unusual cases[] = {{Question::value_nan, r8, std::nan(""), "NaN"},
                           {Question::value_infinite, r8, HUGE_VAL, "Infinity"},
                           {Question::value_infinite, r8, -HUGE_VAL, "-Infinity"},
                           {Question::value_negative_zero, r8, -0.0, "-0.0"},
                           {Question::value_denormal, r8, DBL_TRUE_MIN, "the smallest double"},
                           {Question::value_ax_wide, ax, 0.1, "0.1 in AX"},
                           {Question::value_ax_wide, ax, -1.0 / 3, "-1/3 in AX"},
                           {Question::value_integer_fraction, i4, 0.4, "0.4 in I4"},
                           {Question::value_integer_fraction, i2, 2.6, "2.6 in I2"},
                           {Question::value_integer_range, i2, 40'000, "40000 in I2"},
                           {Question::value_dx_other, dx, 7, "7 in DX"}};
  int32_t time = bed.c.begin;
  for (const Unusual &c : cases) {
    ++time;
    const std::string refusal = ground.history(c.point, {{time, -5, c.value}});
    Sample have{0, 0, 0};
    bool found = false;
    const auto look = [&] {
      const Rows rows = read_rows(bed, bed.ids[c.point], time, time + 1);
      found = !rows.empty() && rows[0].time == time;
      if (found) have = rows[0];
      return found;
    };
    Answers answer = Answer::refused;
    if (refusal.empty() && (look() || settles(bed, look))) {
      const bool same_bits =
          std::bit_cast<uint64_t>(have.value) == std::bit_cast<uint64_t>(c.value);
      const bool kept = same_bits || (std::isnan(c.value) && std::isnan(have.value));
      const bool near = std::abs(have.value - c.value) < 1;
      answer = kept ? Answers(Answer::kept) : Answers(Answer::changed);
      if (!kept && near) answer = answer | Answer::rounded;
      bed.c.evidence.equal(int16_t{-5}, have.status, [&] { return text("status of ", c.name); });
    } else if (refusal.empty()) {
      answer = Answer::changed;
    }
    bed.c.read(c.question, answer, c.name, refusal.empty() ? show(have.value) : refusal);
  }
  bed.c.evidence.equal(0, bed.session->status(), [] { return "status after unusual values"; });
}

}  // namespace

Family sweep_values_family() {
  return {"sweep",
          Tree::few,
          {{"sweep.values.history",
            "Every kind keeps all its values and every status that are written to history.",
            history_of_values},
           {"sweep.values.cache", "The same for cached rows that become history.", cache_of_values},
           {"sweep.values.moments", "The same for current values and snapshots.", moments},
           {"server.numbers",
            "Values that a kind does not have to hold are always kept, always changed or always "
            "refused.",
            unusual}}};
}

}  // namespace kelpcheck
