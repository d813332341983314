#include "explore/answer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "result/text.h"

namespace kelpcheck::explore {

namespace {

bool contains(const std::vector<std::string> &list, const std::string &given) {
  return std::find(list.begin(), list.end(), given) != list.end();
}

std::string given_for(const Answer &answer, const Key &key) {
  const auto found = answer.find(key);
  return found == answer.end() ? kNone : found->second;
}

}  // namespace

std::string show_key(const Key &key) {
  std::string name = key.item;
  if (key.item == kRow) name += " at " + std::to_string(key.time);
  return key.entry == 0 ? name : name + " of entry " + std::to_string(key.entry);
}

bool Allowed::takes(const std::string &given) const {
  if (anything() || contains(good, given)) return true;
  if (within <= 0 || given == kNone) return false;
  const double expected = std::strtod(good[0].c_str(), nullptr);
  const double got = std::strtod(given.c_str(), nullptr);
  return std::abs(expected - got) <= within;
}

std::optional<Difference> compare(const Expectation &expectation, const Answer &answer) {
  std::optional<Difference> first;
  const auto look = [&](const Key &key, const Allowed &allowed, const std::string &given) {
    if (allowed.takes(given)) return;
    const bool early = allowed.unsettled || contains(allowed.early, given);
    if (!first || (first->early && !early))
      first = {key, allowed.good, given, early, allowed.within};
  };
  const auto failed = [&](size_t entry) {
    return given_for(answer, {0, kResult}) == kFailed ||
           (entry > 0 && given_for(answer, {entry, kEntry}) == kFailed);
  };
  for (const auto &[key, allowed] : expectation) {
    if (key.item == kOtherRows) continue;
    const bool says_how = key.item == kResult || (key.item == kEntry && !failed(0));
    if (says_how || !failed(key.entry)) look(key, allowed, given_for(answer, key));
  }
  for (const auto &[key, given] : answer) {
    if (key.item != kRow || failed(key.entry) || expectation.contains(key)) continue;
    const auto rest = expectation.find({key.entry, kOtherRows});
    if (rest != expectation.end()) look(key, rest->second, given);
  }
  return first;
}

std::string expected_text(const Difference &difference) {
  std::string text;
  for (const std::string &one : difference.expected) append_item(text, one, ", or ");
  return text;
}

std::string exact(double value) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.17g", value);
  return buffer;
}

std::string row_text(int16_t status, double value) {
  return std::to_string(status) + " " + exact(value);
}

}  // namespace kelpcheck::explore
