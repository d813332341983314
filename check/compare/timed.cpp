#include "compare/timed.h"

#include <cmath>

#include "result/text.h"

namespace kelpcheck {

std::string change_text(double share) {
  if (share < 1) return text(std::ceil(share * 100), " %");
  return text(std::ceil((1 + share) * 10) / 10, " times");
}

std::vector<ComparisonLine> judge_all(const std::vector<Timed> &all, double tolerance) {
  std::vector<Shift> estimates;
  for (const Timed &timed : all) estimates.push_back(timed.estimate);
  const double apart = common_of(estimates).apart;
  std::vector<ComparisonLine> lines;
  for (const Timed &timed : all) {
    const Judgement j = judge_one(timed.estimate, apart, all.size(), tolerance);
    const bool slower = j.ratio > 1;
    ComparisonLine line;
    line.name = timed.name;
    line.change = !j.differs ? Change::same : slower ? Change::worse : Change::better;
    line.words =
        text(duration_text(timed.after * 1e9), ", was ", duration_text(timed.before * 1e9), ": ");
    const std::string smallest = change_text(j.smallest) + " or more would have been";
    if (j.differs) {
      line.words += text(slower ? "slower" : "faster", ", by a factor of ", rate_text(j.low),
                         " to ", rate_text(j.high), " (", smallest, " seen)");
    } else {
      line.words += "no difference seen; " + smallest;
    }
    line.ratio = j.ratio;
    line.low = j.low;
    line.high = j.high;
    lines.push_back(line);
  }
  return lines;
}

}  // namespace kelpcheck
