#include "compare/statistics.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kelpcheck {

namespace {

constexpr double kFalseAlarms = 0.02;  // of a whole report
constexpr double kMissed = 0.05;       // of the smallest change that is promised
constexpr size_t kLeastBatches = 6;

struct Spread {
  double mean = 0, error = 0;
  int freedom = 0;
};

Spread spread_of(const std::vector<double> &values) {
  const auto n = static_cast<double>(values.size());
  Spread spread;
  for (const double value : values) spread.mean += value / n;
  double squares = 0;
  for (const double value : values) {
    const double distance = value - spread.mean;
    squares += distance * distance;
  }
  spread.freedom = static_cast<int>(values.size()) - 1;
  spread.error = std::sqrt(squares / (n - 1) / n);
  return spread;
}

// Values of neighbours as one, the last one alone where it has none.
std::vector<double> halved(const std::vector<double> &values) {
  std::vector<double> half;
  for (size_t i = 0; i + 1 < values.size(); i += 2) half.push_back((values[i] + values[i + 1]) / 2);
  return half;
}

// With the largest error that batches, pairs of them or fours give.
Spread careful_spread(std::vector<double> values) {
  Spread widest = spread_of(values);
  const double mean = widest.mean;
  while (values.size() / 2 >= kLeastBatches) {
    values = halved(values);
    const Spread wider = spread_of(values);
    if (wider.error > widest.error) widest = wider;
  }
  widest.mean = mean;
  return widest;
}

std::vector<double> logarithms(const std::vector<MeanOfCalls> &batches) {
  std::vector<double> logs;
  for (const MeanOfCalls &batch : batches) {
    if (batch.seconds > 0) logs.push_back(std::log(batch.seconds));
  }
  return logs;
}

bool same_calls(const std::vector<MeanOfCalls> &before, const std::vector<MeanOfCalls> &after) {
  const auto same = [](const MeanOfCalls &a, const MeanOfCalls &b) {
    return a.calls == b.calls && a.seconds > 0 && b.seconds > 0;
  };
  return std::equal(before.begin(), before.end(), after.begin(), after.end(), same);
}

}  // namespace

// Abramowitz and Stegun, 26.7.3 and 26.7.4.
double student_tail(double value, int freedom) {
  if (value < 0) return 1 - student_tail(-value, freedom);
  const double angle = std::atan(value / std::sqrt(static_cast<double>(freedom)));
  const double sine = std::sin(angle), cosine = std::cos(angle);
  const bool odd = freedom % 2 == 1;
  double term = odd ? cosine : 1;
  double sum = freedom == 1 ? 0 : term;
  for (int i = odd ? 3 : 2; i < freedom; i += 2) {
    term *= cosine * cosine * (i - 1) / i;
    sum += term;
  }
  double inside = sine * sum;
  if (odd) inside = 2 / std::numbers::pi * (angle + inside);
  return (1 - inside) / 2;
}

double student_quantile(double probability, int freedom) {
  double low = 0, high = 1;
  while (student_tail(high, freedom) > probability && high < 1e9) high *= 2;
  for (int i = 0; i < 50; ++i) {
    const double middle = (low + high) / 2;
    const bool above = student_tail(middle, freedom) > probability;
    if (above) low = middle;
    if (!above) high = middle;
  }
  return high;
}

std::optional<Shift> shift_of(const std::vector<MeanOfCalls> &before,
                              const std::vector<MeanOfCalls> &after) {
  const std::vector<double> old_logs = logarithms(before), new_logs = logarithms(after);
  if (old_logs.size() < kLeastBatches || new_logs.size() < kLeastBatches) return std::nullopt;
  if (same_calls(before, after)) {
    std::vector<double> shifts;
    for (size_t i = 0; i < old_logs.size(); ++i) shifts.push_back(new_logs[i] - old_logs[i]);
    const Spread spread = careful_spread(shifts);
    return Shift{spread.mean, spread.error, spread.freedom};
  }
  const Spread old_spread = careful_spread(old_logs), new_spread = careful_spread(new_logs);
  return Shift{new_spread.mean - old_spread.mean, std::hypot(old_spread.error, new_spread.error),
               std::min(old_spread.freedom, new_spread.freedom)};
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

// By medians: a few operations that did change leave it as it is.
Common common_of(const std::vector<Shift> &estimates) {
  constexpr double deviation_of_median = 1.4826;
  std::vector<double> shifts, distances, squares;
  for (const Shift &e : estimates) shifts.push_back(e.shift);
  const double middle = median(shifts);
  for (const Shift &e : estimates) {
    distances.push_back(std::abs(e.shift - middle));
    squares.push_back(e.error * e.error);
  }
  const double seen = deviation_of_median * median(distances);
  return {middle, std::sqrt(std::max(0.0, seen * seen - median(squares)))};
}

Judgement judge_one(const Shift &estimate, double apart, size_t family, double tolerance) {
  const double error = std::hypot(estimate.error, apart);
  const auto comparisons = static_cast<double>(std::max<size_t>(family, 1));
  const double alarms = kFalseAlarms / comparisons / 2;
  const double reach = student_quantile(alarms, estimate.freedom) * error;
  const double tolerated = std::log1p(tolerance);
  const double margin = student_quantile(kMissed, estimate.freedom) * error;
  Judgement judgement;
  judgement.ratio = std::exp(estimate.shift);
  judgement.low = std::exp(estimate.shift - reach);
  judgement.high = std::exp(estimate.shift + reach);
  judgement.differs = std::abs(estimate.shift) - reach > tolerated;
  judgement.smallest = std::expm1(tolerated + reach + margin);
  return judgement;
}

}  // namespace kelpcheck
