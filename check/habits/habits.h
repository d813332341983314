// What is known of a server. Every reading says which answers it allows; those that it does not
// allow are struck out, and when none is left the two readings that clash are the evidence of a
// failure. A question that nobody has asked has all its answers left.
#pragma once

#include <map>
#include <optional>

#include "habits/questions.h"

namespace kelpcheck {

// What was read, and where.
struct Observation {
  std::string where;
  std::string got;
};

// Two readings that no answer allows.
struct Clash {
  Observation earlier, now;
  std::string expected;  // what the earlier one had left
};

class Habits {
 public:
  Habits();

  // The answers that no reading has struck out.
  Answers left(Question question) const { return left_[index(question)]; }
  bool may(Question question, Answer answer) const { return left(question).has(answer); }
  // Whether this is the only one left.
  bool is(Question question, Answer answer) const { return left(question) == Answers(answer); }
  // Whether something was read that bears on it.
  bool asked(Question question) const { return last_[index(question)].has_value(); }
  // The answer that it gave, where that is not in the list. Empty where it is known or has not been
  // asked.
  const std::string &unknown(Question question) const { return unknown_[index(question)]; }

  // Strikes out the answers that a reading does not allow. Where that leaves none, nothing changes
  // and the clash is returned. A reading that allows no listed answer at all makes a question
  // unknown of which nothing was struck out before, or whose reading was the same. Of a question
  // that is never compared all answers stay that were read.
  std::optional<Clash> read(Question question, Answers allowed, const Observation &observation);

  // A promise from the start, as --expect makes one: what clashes with it names `source`.
  void promise(Question question, Answer answer, const std::string &source);

  // The longest time, in seconds, until something acknowledged could be read.
  double longest_wait = 0;

  // Takes over what another process has learnt since, from the question's code and the rest.
  void adopt(Question question, Answers left, const Observation &last, const std::string &unknown);
  const std::optional<Observation> &last(Question question) const { return last_[index(question)]; }

 private:
  static size_t index(Question question) { return static_cast<size_t>(question); }

  std::vector<Answers> left_;
  std::vector<std::optional<Observation>> last_;  // that struck something out, or the first one
  std::vector<std::string> unknown_;
};

}  // namespace kelpcheck
