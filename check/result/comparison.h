// What a comparison of two reports came to. Plain records, which is all that its reports see.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kelpcheck {

enum class Change { same, worse, better, changed, unknown };
const char *name_of(
    Change change);  // "no difference", "worse", "better", "changed", "not compared"

struct ComparisonLine {
  std::string name;
  Change change = Change::same;
  std::string words;  // "31 ms, was 29 ms: no difference seen; 12 % or more would have been"
  // For charts: new by old, with its interval; 0 where there is none.
  double ratio = 0, low = 0, high = 0;
};

struct ComparisonSection {
  std::string title;
  std::vector<ComparisonLine> lines;
};

struct Comparison {
  std::string mode;  // "check", "load", "watch" or "verify"
  std::string old_file, new_file;
  double tolerance = 0.1;
  bool strict = false;             // changed habits are worse
  std::vector<std::string> notes;  // what else is different: options, versions, machines
  std::vector<ComparisonSection> sections;
  std::vector<std::pair<std::string, std::string>> facts;

  size_t count(Change change) const;
  // Also changed lines, where the comparison is strict.
  bool worse() const;
  std::string verdict() const;  // "no difference", "better", "changed", "worse"
  std::string summary() const;  // one sentence
};

}  // namespace kelpcheck
