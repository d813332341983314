// What the header leaves open, as a list: questions, each with the answers that are known for it.
// The bundled library's answer is the first one. A constant question is one to which a server has
// to keep: whoever reads its data relies on the answer. The others are shown and never compared.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace kelpcheck {

enum class Question {
  waiting,
  range_end,
  second_value,
  second_in_call,
  older_current,
  equal_current,
  second_current_in_call,
  current_in_history,
  snapshot_in_history,
  snapshot_sets_current,
  second_snapshot,
  second_snapshot_in_call,
  snapshot_between,
  snapshot_before_first,
  snapshot_of_history,
  snapshot_of_current,
  cache,
  second_cached,
  times_before_1970,
  time_zero,
  times_past,
  times_future,
  time_lowest,
  time_highest,
  current_before_1970,
  current_future,
  value_nan,
  value_infinite,
  value_negative_zero,
  value_denormal,
  value_ax_wide,
  value_integer_fraction,
  value_integer_range,
  value_dx_other,
  field_fq_node,
  field_ar_node,
  field_iv_node,
  field_hw_node,
  field_fq_point,
  field_ar_point,
  field_iv_point,
  field_hw_point,
  names_64,
  names_200,
  names_marks,
  names_blank,
  names_foreign,
  texts_foreign,
  texts_long,
  delete_full_node,
  second_session,
  calendar,
  statistics_time,
  statistics_status,
  statistics_flow,
  statistics_maxtime,
  statistics_mintime,
  statistics_avg,
  statistics_stdev,
  statistics_empty,
  statistics_grid,
  statistics_last,
  statistics_no_interval,
  // Never compared:
  empty_result,
  unknown_id,
  unknown_children,
  count,
};

enum class Answer {
  outside,
  inside,
  replaces,
  ignored,
  both,
  refused,
  taken,
  kept,
  rounded,
  changed,
  narrow,
  dropped,
  yes,
  no,
  some,
  never,
  if_newer,
  always,
  at_once,
  later,
  earlier,
  none,
  following,
  on_line,
  first,
  last,
  children_too,
  utc,
  local,
  fixed,
  start,
  end,
  all_bits,
  largest,
  smallest,
  zero,
  steps_to_end,
  steps_whole,
  steps_between,
  steps_known,
  lines_to_end,
  lines_whole,
  lines_between,
  lines_known,
  population,
  sample,
  one_is_nan,
  begin,
  multiples,
  cut,
  whole,
  no_rows,
  minus_rows,
  failed_entry,
  failed_call,
  other,
  left_out,
  inside_settle,
  middle,
  steps_back,
  population_nan,
  count,
};
static_assert(static_cast<int>(Answer::count) <= 64);

// A set of answers.
class Answers {
 public:
  constexpr Answers() = default;
  constexpr Answers(Answer answer) : bits_(uint64_t{1} << static_cast<int>(answer)) {}
  constexpr Answers(std::initializer_list<Answer> answers) {
    for (const Answer answer : answers) *this = *this | Answers(answer);
  }
  constexpr bool has(Answer answer) const { return (bits_ & Answers(answer).bits_) != 0; }
  constexpr bool empty() const { return bits_ == 0; }
  constexpr Answers operator|(Answers other) const { return from_bits(bits_ | other.bits_); }
  constexpr Answers operator&(Answers other) const { return from_bits(bits_ & other.bits_); }
  constexpr bool operator==(const Answers &other) const = default;
  // One of them.
  static constexpr Answers one_of(Answers some) {
    return from_bits(some.bits_ & (~some.bits_ + 1));
  }
  constexpr uint64_t bits() const { return bits_; }
  static constexpr Answers from_bits(uint64_t bits) {
    Answers answers;
    answers.bits_ = bits;
    return answers;
  }

 private:
  uint64_t bits_ = 0;
};

struct KnownAnswer {
  Answer answer;
  const char *text;
};

struct QuestionEntry {
  Question question;
  const char *code;  // in reports, for programs
  const char *text;  // begins a sentence that an answer ends
  bool constant;
  std::vector<KnownAnswer> answers;  // the bundled library's first

  Answers all() const;
  Answer bundled() const { return answers.front().answer; }
  // The texts of those in the set, joined by "or".
  std::string text_of(Answers some) const;
  // Its answer of that text; throws std::out_of_range.
  Answer answer_of(const std::string &answer_text) const;
};

const QuestionEntry &entry_of(Question question);
// In the order of the list.
const std::vector<QuestionEntry> &all_questions();
// Null for a code that no question has.
const QuestionEntry *find_question(const std::string &code);

}  // namespace kelpcheck
