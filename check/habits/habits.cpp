#include "habits/habits.h"

namespace kelpcheck {

Habits::Habits() : left_(all_questions().size()), last_(left_.size()), unknown_(left_.size()) {
  for (size_t i = 0; i < left_.size(); ++i) left_[i] = all_questions()[i].all();
}

std::optional<Clash> Habits::read(Question question, Answers allowed,
                                  const Observation &observation) {
  const size_t i = index(question);
  const QuestionEntry &entry = entry_of(question);
  const Answers listed = allowed & entry.all(), rest = left_[i] & allowed;
  const bool was_unlisted = !unknown_[i].empty();
  const bool says_nothing = entry.constant ? listed == entry.all() : listed.empty();
  if (says_nothing) {
    if (!last_[i]) last_[i] = observation;
    return {};
  }
  if (!entry.constant) {  // it may change: all that were read are shown
    left_[i] = last_[i] ? left_[i] | listed : listed;
    last_[i] = observation;
    return {};
  }
  if (!rest.empty() && !was_unlisted) {
    if (!last_[i] || rest != left_[i]) last_[i] = observation;
    left_[i] = rest;
    return {};
  }
  const bool same = was_unlisted ? last_[i]->got == observation.got : left_[i] == entry.all();
  if (listed.empty() && same) {
    last_[i] = observation;
    unknown_[i] = observation.got;
    return {};
  }
  return Clash{*last_[i], observation, was_unlisted ? last_[i]->got : entry.text_of(left_[i])};
}

void Habits::promise(Question question, Answer answer, const std::string &source) {
  left_[index(question)] = answer;
  last_[index(question)] = Observation{source, entry_of(question).text_of(answer)};
}

void Habits::adopt(Question question, Answers left, const Observation &last,
                   const std::string &unknown) {
  left_[index(question)] = left;
  last_[index(question)] = last;
  unknown_[index(question)] = unknown;
}

}  // namespace kelpcheck
