#include "result/comparison.h"

#include "result/text.h"

namespace kelpcheck {

const char *name_of(Change change) {
  switch (change) {
    case Change::worse: return "worse";
    case Change::better: return "better";
    case Change::changed: return "changed";
    case Change::unknown: return "not compared";
    default: return "no difference";
  }
}

size_t Comparison::count(Change change) const {
  size_t sum = 0;
  for (const ComparisonSection &section : sections) {
    for (const ComparisonLine &line : section.lines) sum += line.change == change ? 1 : 0;
  }
  return sum;
}

bool Comparison::worse() const {
  return count(Change::worse) > 0 || (strict && count(Change::changed) > 0);
}

std::string Comparison::verdict() const {
  if (worse()) return "worse";
  if (count(Change::changed) > 0) return "changed";
  return count(Change::better) > 0 ? "better" : "no difference";
}

std::string Comparison::summary() const {
  std::string line = text(count(Change::same), " compared without a difference");
  for (const Change change : {Change::worse, Change::better, Change::changed, Change::unknown}) {
    if (count(change) > 0) line += text(", ", count(change), " ", name_of(change));
  }
  return line;
}

}  // namespace kelpcheck
