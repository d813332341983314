// What is known of a server: readings narrow it, two that clash are the evidence of a failure, and
// what no reading has answered is unknown.
#include "habits/habits.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>

#include "habits/expected.h"
#include "probe/check_context.h"
#include "process/shared.h"
#include "report/reports.h"
#include "support/process.h"

namespace kelpcheck {

using kelptest::TempFolder;
using testing::HasSubstr;

namespace {

using A = Answer;
using Q = Question;

const Answers kAnySecond{A::replaces, A::ignored, A::both, A::refused};

// What a promise or a reading that clashes with it says, and what is left of the question.
struct Reading {
  Answers allowed;
  std::string got;
  Answers left;
  bool clashes = false, unknown = false;
};

}  // namespace

TEST(Questions, StandInTheDocumentWithAllTheirAnswers) {
  std::ifstream file(PROMISES);
  const std::string document{std::istreambuf_iterator<char>(file), {}};
  const size_t indifferent = document.find("The others are **indifferent**");
  ASSERT_NE(indifferent, std::string::npos);
  for (const QuestionEntry &entry : all_questions()) {
    ASSERT_NE(entry.code, nullptr);
    std::string answers;
    for (const KnownAnswer &known : entry.answers) {
      answers += (answers.empty() ? "" : "; ") + std::string(known.text);
      EXPECT_EQ(entry.answer_of(known.text), known.answer) << entry.code;
    }
    EXPECT_EQ(find_question(entry.code), &entry) << entry.code;
    const std::string row = text("\n| `", entry.code, "` | ", entry.text, " | ", answers, " |\n");
    const size_t at = document.find(row);
    EXPECT_NE(at, std::string::npos) << row;
    EXPECT_EQ(at < indifferent, entry.constant) << entry.code;
  }
}

TEST(Habits, AreNarrowedByReadings) {
  const struct {
    const char *name;
    Question question;
    std::vector<Reading> readings;
  } cases[] = {
      {"a constant one is held to what was read",
       Q::second_value,
       {{{A::replaces, A::both}, "2", {A::replaces, A::both}},
        {{A::both, A::ignored}, "1 and 2", A::both},
        {A::replaces, "2", A::both, true},
        {A::both, "1 and 2", A::both}}},
      {"the same answer in no list",
       Q::second_value,
       {{{}, "a sum", kAnySecond, false, true},
        {{}, "a sum", kAnySecond, false, true},
        {{}, "a mean", kAnySecond, true, true},
        {A::replaces, "2", kAnySecond, true, true}}},
      {"an answer in no list behind one that is",
       Q::second_value,
       {{A::ignored, "1", A::ignored}, {{}, "a sum", A::ignored, true}}},
      {"a reading that all answers allow says nothing",
       Q::second_value,
       {{kAnySecond, "1", kAnySecond},
        {{}, "a sum", kAnySecond, false, true},
        {kAnySecond, "1", kAnySecond, false, true}}},
      {"an indifferent one shows all that were read",
       Q::empty_result,
       {{A::no_rows, "0", A::no_rows},
        {A::failed_entry, "-8", {A::no_rows, A::failed_entry}},
        {A::no_rows, "0", {A::no_rows, A::failed_entry}},
        {{}, "?", {A::no_rows, A::failed_entry}}}},
  };
  for (const auto &[name, question, readings] : cases) {
    Habits habits;
    EXPECT_FALSE(habits.asked(question));
    for (const Reading &reading : readings) {
      SCOPED_TRACE(text(name, ": ", reading.got));
      const bool clashes =
          habits.read(question, reading.allowed, {"here", reading.got}).has_value();
      EXPECT_EQ(clashes, reading.clashes);
      EXPECT_EQ(habits.left(question), reading.left);
      EXPECT_EQ(!habits.unknown(question).empty(), reading.unknown);
      EXPECT_TRUE(habits.asked(question));
    }
  }
}

// The earlier reading is the one that struck the answer out, also where another process made it.
TEST(Habits, ThatClashGiveBothReadings) {
  Habits habits, later;
  habits.read(Q::second_value, {A::replaces, A::ignored}, {"first place", "either"});
  habits.read(Q::second_value, {A::replaces, A::both}, {"second place", "the later"});
  habits.read(Q::second_value, A::replaces, {"third place", "the later again"});
  later.adopt(Q::second_value, habits.left(Q::second_value), *habits.last(Q::second_value), "");
  const std::optional<Clash> clash =
      later.read(Q::second_value, A::ignored, {"there", "the first"});
  ASSERT_TRUE(clash);
  EXPECT_EQ(clash->earlier.where + ", " + clash->earlier.got, "second place, the later");
  EXPECT_EQ(clash->now.where + ", " + clash->now.got, "there, the first");
  EXPECT_EQ(clash->expected, "replaces the first");
}

// ---- What a check sees of them ----

class CheckOfHabits : public testing::Test {
 protected:
  ~CheckOfHabits() override { close(nowhere_); }

  const CheckOptions options_;
  const Holder holder_;
  const Shared<CheckBoard> board_;
  const int nowhere_ = open("/dev/null", O_WRONLY | O_CLOEXEC);
  CheckContext c_{options_, holder_, *board_, RecordPipe(nowhere_)};

  // Why a check that needs the question is not run; "" where it is.
  std::string obstacle(Question question) const {
    try {
      c_.need(question);
      return "";
    } catch (const Unknown &why) {
      return why.what();
    }
  }
};

TEST_F(CheckOfHabits, IsNotRunWhereOneIsUnknown) {
  EXPECT_EQ(obstacle(Q::cache),
            "unknown: Cached rows become history ... (it could not be observed)");
  c_.read(Q::second_value, {}, "here", "a sum");
  EXPECT_EQ(obstacle(Q::second_value), "unknown: A second value at the same time ... (a sum)");
  c_.read(Q::cache, {A::later, A::some}, "here", "5 of 6");
  EXPECT_EQ(obstacle(Q::cache), "");
  EXPECT_EQ(c_.evidence.differences, 0);
}

TEST_F(CheckOfHabits, ShowsTheOldAndTheNewAnswerOfOneThatChanged) {
  c_.habits.promise(Q::second_value, A::replaces, "report.json");
  EXPECT_FALSE(c_.read(Q::second_value, A::ignored, "value of P1", "1 at noon"));
  EXPECT_EQ(c_.evidence.where, "A second value at the same time: value of P1");
  EXPECT_THAT(c_.evidence.expected, HasSubstr("replaces the first, as report.json"));
  EXPECT_EQ(c_.evidence.got, "is ignored, the first stays (1 at noon)");
  EXPECT_FALSE(c_.read(Q::second_value, {}, "value of P2", "a sum"));
  EXPECT_EQ(c_.evidence.differences, 2);
}

// ---- What --expect makes promises ----

TEST(Expected, OfTheBundledLibraryAreAllConstantHabits) {
  const Habits none = expected_habits(""), bundled = expected_habits("bundled");
  for (const QuestionEntry &entry : all_questions()) {
    EXPECT_FALSE(none.asked(entry.question));
    EXPECT_EQ(bundled.asked(entry.question), entry.constant) << entry.code;
    EXPECT_EQ(bundled.is(entry.question, entry.bundled()), entry.constant) << entry.code;
  }
}

TEST(Expected, OfAReportAreTheConstantHabitsThatItKnows) {
  const TempFolder folder;
  const CheckOptions options;
  kelpcheck::Run run(options);
  const auto add = [&](const char *code, bool constant, const char *state, const char *answer) {
    Habit habit;
    habit.code = code;
    habit.constant = constant;
    habit.state = state;
    habit.answer = answer;
    run.habits.push_back(habit);
  };
  add("waiting", true, "known", "within --settle");
  add("history.second", true, "known", "is ignored, the first stays");
  add("range.end", true, "open", "outside it, or inside it");
  add("statistics.avg", true, "unknown", "by none of the definitions known here");
  add("cache.history", true, "not asked", "at once, or later");
  add("calendar", true, "known", "an answer of another version");
  add("question.of_another_version", true, "known", "yes");
  add("form.empty_result", false, "known", "0 rows");
  std::ofstream(folder.path("report")) << json_report(run);
  const Habits habits = expected_habits(folder.path("report"));
  EXPECT_TRUE(habits.is(Q::waiting, A::inside_settle));
  EXPECT_TRUE(habits.is(Q::second_value, A::ignored));
  EXPECT_EQ(habits.last(Q::second_value)->where, folder.path("report"));
  for (const QuestionEntry &entry : all_questions()) {
    const bool promised = entry.question == Q::waiting || entry.question == Q::second_value;
    EXPECT_EQ(habits.asked(entry.question), promised) << entry.code;
  }
}

TEST(Expected, OfSomethingElseAreNone) {
  const TempFolder folder;
  const std::pair<std::string, std::string> files[] = {
      {"", "is not a report of the checks"},
      {"[]", "is not a report of the checks"},
      {R"({"form": "another", "habits": []})", "is not a report of the checks"},
      {R"({"form": "kelpcheck", "mode": "load", "habits": []})", "is not a report of the checks"},
      {R"({"form": "kelpcheck"})", "or one without habits"},
      {R"({"form": "kelpcheck", "habits": [{"code": 1}]})", "or one without habits"}};
  const auto complaint_of = [&](const std::string &path) {
    try {
      expected_habits(path);
      return std::string();
    } catch (const std::runtime_error &error) {
      return std::string(error.what());
    }
  };
  EXPECT_THAT(complaint_of(folder.path("none")), HasSubstr("cannot read"));
  for (const auto &[contents, complaint] : files) {
    std::ofstream(folder.path("report")) << contents;
    EXPECT_THAT(complaint_of(folder.path("report")), HasSubstr(complaint)) << contents;
  }
}

}  // namespace kelpcheck
