#include "habits/expected.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace kelpcheck {

namespace {

using nlohmann::json;

void promise_bundled(Habits &habits) {
  for (const QuestionEntry &entry : all_questions()) {
    if (entry.constant) {
      habits.promise(entry.question, entry.bundled(), "the bundled library's header");
    }
  }
}

// An answer that this version does not know any more is left out.
void promise_known(Habits &habits, const json &habit, const std::string &path) {
  const QuestionEntry *entry = find_question(habit.at("code").get<std::string>());
  if (entry == nullptr || !entry->constant || habit.at("state") != "known") return;
  const std::string answer = habit.at("answer");
  for (const KnownAnswer &known : entry->answers) {
    if (answer == known.text) habits.promise(entry->question, known.answer, path);
  }
}

}  // namespace

Habits expected_habits(const std::string &expect) {
  Habits habits;
  if (expect.empty()) return habits;
  if (expect == "bundled") {
    promise_bundled(habits);
    return habits;
  }
  std::ifstream file(expect);
  if (!file) throw std::runtime_error("cannot read " + expect);
  try {
    const json report = json::parse(file);
    if (report.at("form") != "kelpcheck" || report.contains("mode")) {
      throw std::runtime_error(expect + " is not a report of the checks");
    }
    for (const json &habit : report.at("habits")) promise_known(habits, habit, expect);
  } catch (const json::exception &) {
    throw std::runtime_error(expect + " is not a report of the checks, or one without habits");
  }
  return habits;
}

}  // namespace kelpcheck
