// The result of a check: not yes or no, but what it compared, the first difference that it found,
// and how many there were.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "result/text.h"

namespace kelpcheck {

struct Evidence {
  int64_t compared = 0;
  int64_t differences = 0;
  std::string where, expected, got;  // of the first difference
  std::vector<std::string> steps;  // the calls that lead to it, where they are not the check's own

  // Compares; `where_` is called for the first difference only.
  template <typename T, typename Where>
  bool equal(const T &want, const T &have, Where &&where_) {
    ++compared;
    if (want == have) return true;
    if (differences++ == 0) keep(where_(), show(want), show(have));
    return false;
  }
  // The same for what has no value to show: `want` says what should have been.
  template <typename Where>
  bool that(bool holds, Where &&where_, const std::string &want, const std::string &have) {
    ++compared;
    if (!holds && differences++ == 0) keep(where_(), want, have);
    return holds;
  }
  // What another look found, as part of this one.
  void add(const Evidence &other) {
    compared += other.compared;
    if (differences == 0 && other.differences > 0) keep(other.where, other.expected, other.got);
    differences += other.differences;
  }
  void keep(const std::string &where_, const std::string &want, const std::string &have) {
    where = where_;
    expected = want;
    got = have;
  }
};

// A block of values of one point as written and as read back.
struct Plot {
  std::string title;
  std::vector<int64_t> written_times, read_times;
  std::vector<double> written, read;
};

}  // namespace kelpcheck
