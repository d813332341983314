// What a call gave, and what it may give, as short texts by key: a comparison looks for the one
// among the others.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kelpcheck::explore {

// One thing that a call gives.
struct Key {
  size_t entry = 0;  // from 1; 0 for the call as a whole
  std::string item;
  int32_t time = 0;  // of rows of history

  auto operator<=>(const Key &) const = default;
};
std::string show_key(const Key &key);

// Items that more than one part of the program knows by name.
inline constexpr const char *kResult = "result", *kEntry = "entry", *kRow = "row";
inline constexpr const char *kOtherRows = "other rows";  // those at times without a key
inline constexpr const char *kEnd = "end of the call", *kReturned = "it returns";
inline constexpr const char *kObjectRead = "object that was read";
// How an operation or an entry went, whatever the code; and what is not there.
inline constexpr const char *kDone = "done", *kFailed = "failed", *kNone = "none";
inline const char *how(bool done) { return done ? kDone : kFailed; }

using Answer = std::map<Key, std::string>;

struct Allowed {
  std::vector<std::string> good;        // empty: anything
  std::vector<std::string> early = {};  // may still be there, for a while
  bool unsettled = false;               // so may anything
  double within = 0;                    // of a sum, whose last digits differ

  bool takes(const std::string &given) const;
  bool anything() const { return good.empty(); }
};

using Expectation = std::map<Key, Allowed>;

struct Difference {
  Key key;
  std::vector<std::string> expected;  // any of these
  std::string got;
  bool early = false;  // still allowed for a while: ask again
  double within = 0;   // what was expected may be off by so much
};
// "1, or 2"
std::string expected_text(const Difference &difference);

// The first difference, those that no waiting mends before others. What a failed call left in its
// entries, and a failed entry in its places, is not looked at.
std::optional<Difference> compare(const Expectation &expectation, const Answer &answer);

// A number with all its digits, as the programs of printf("%.17g") show it.
std::string exact(double value);
std::string row_text(int16_t status, double value);

}  // namespace kelpcheck::explore
