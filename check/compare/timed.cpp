#include "compare/timed.h"

#include <algorithm>
#include <cmath>

#include "result/text.h"

namespace kelpcheck {

std::string change_text(double share) {
  if (share < 1) return text(std::ceil(share * 100), " %");
  return text(std::ceil((1 + share) * 10) / 10, " times");
}

std::vector<ComparisonLine> judge_all(const std::vector<Timed> &all, double tolerance) {
  constexpr double least_apart = 0.04;
  std::vector<Shift> of_server, of_host;
  for (const Timed &timed : all) {
    std::vector<Shift> &side = timed.local ? of_host : of_server;
    side.push_back(timed.estimate);
  }
  const double server_apart = std::max(common_of(of_server).apart, least_apart);
  const double host_apart = std::max(common_of(of_host).apart, least_apart);
  std::vector<ComparisonLine> lines;
  for (const Timed &timed : all) {
    const double apart = timed.local ? host_apart : server_apart;
    const Judgement j = judge_one(timed.estimate, apart, all.size(), tolerance);
    const bool slower = j.ratio > 1;
    ComparisonLine line;
    line.name = timed.name;
    if (j.differs) line.change = slower ? Change::worse : Change::better;
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
