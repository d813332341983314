#include "habits/questions.h"

#include <algorithm>
#include <stdexcept>

namespace kelpcheck {

namespace {

using Q = Question;
using A = Answer;
using Known = std::vector<KnownAnswer>;

const Known kSecond = {{A::replaces, "replaces the first"},
                       {A::ignored, "is ignored, the first stays"},
                       {A::both, "is kept beside the first"},
                       {A::refused, "is refused"}};
const Known kNewer = {
    {A::replaces, "replaces it"}, {A::ignored, "is ignored"}, {A::refused, "is refused"}};
const Known kSecondInCall = {{A::replaces, "replaces the first"},
                             {A::ignored, "is ignored, the first stays"},
                             {A::both, "is kept beside the first"}};
const Known kTaken = {{A::taken, "taken"}, {A::refused, "refused"}, {A::some, "taken in part"}};
const Known kKept = {{A::kept, "kept"}, {A::changed, "changed"}, {A::refused, "refused"}};
const Known kRounded = {{A::kept, "kept"}, {A::rounded, "rounded"}, {A::refused, "refused"}};
const Known kField = {{A::kept, "kept, every value"},
                      {A::narrow, "kept, some values only"},
                      {A::dropped, "not kept"}};
const Known kInHistory = {{A::yes, "in the history too"},
                          {A::no, "not in the history"},
                          {A::some, "partly in the history"}};
const Known kFirstOrLast = {{A::first, "when it first occurred"},
                            {A::last, "when it last occurred"}};
const Known kAreas = {
    {A::steps_to_end, "steps, from the first value to the interval's end"},
    {A::steps_whole, "steps, over the whole interval"},
    {A::steps_between, "steps, between the first and the last value"},
    {A::steps_back, "steps, the first value held back to the interval's start"},
    {A::steps_known, "steps, up to the last value, counting the one before the interval"},
    {A::lines_to_end, "straight lines, from the first value to the interval's end"},
    {A::lines_whole, "straight lines, over the whole interval"},
    {A::lines_between, "straight lines, between the first and the last value"},
    {A::lines_known, "straight lines between values, the last one held to the interval's end"}};

std::vector<QuestionEntry> values_and_times() {
  return {
      {Q::waiting,
       "waiting",
       "What was acknowledged can be read",
       true,
       {{A::at_once, "at once"}, {A::inside_settle, "within --settle"}}},
      {Q::range_end,
       "range.end",
       "The end of a range is",
       true,
       {{A::outside, "outside it"}, {A::inside, "inside it"}}},
      {Q::second_value, "history.second", "A second value at the same time", true, kSecond},
      {Q::second_in_call, "history.second_in_call", "A second value at the same time in one call",
       true, kSecondInCall},
      {Q::older_current, "current.older", "A current value older than the present one", true,
       kNewer},
      {Q::equal_current, "current.equal", "A current value as old as the present one", true,
       kNewer},
      {Q::second_current_in_call, "current.second_in_call",
       "A point's second current value in one call", true, kSecondInCall},
      {Q::current_in_history, "current.history", "Current values are", true, kInHistory},
      {Q::snapshot_in_history, "snapshot.history", "Snapshots are", true, kInHistory},
      {Q::snapshot_sets_current,
       "snapshot.current",
       "A snapshot sets the current value",
       true,
       {{A::never, "never"}, {A::if_newer, "if it is newer"}, {A::always, "always"}}},
      {Q::second_snapshot, "snapshot.second", "A second snapshot at the same time", true, kSecond},
      {Q::second_snapshot_in_call, "snapshot.second_in_call",
       "A second snapshot of a point in one call", true, kSecondInCall},
      {Q::snapshot_between,
       "snapshot.between",
       "Between two values a snapshot has",
       true,
       {{A::earlier, "the earlier one"},
        {A::none, "no value"},
        {A::following, "the later one"},
        {A::on_line, "one on the line between them"}}},
      {Q::snapshot_before_first,
       "snapshot.before_first",
       "Before the first value a snapshot has",
       true,
       {{A::none, "no value"}, {A::following, "the first one"}, {A::zero, "0"}}},
      {Q::snapshot_of_history,
       "snapshot.of_history",
       "Snapshots show values written to history",
       true,
       {{A::yes, "yes"}, {A::no, "no"}}},
      {Q::snapshot_of_current,
       "snapshot.of_current",
       "Snapshots show current values",
       true,
       {{A::yes, "yes"}, {A::no, "no"}}},
      {Q::cache,
       "cache.history",
       "Cached rows become history",
       true,
       {{A::at_once, "at once"},
        {A::later, "later"},
        {A::some, "in part"},
        {A::never, "not while the run waits for them"}}},
      {Q::second_cached, "cache.second", "A second cached value at the same time", true, kSecond},
  };
}

std::vector<QuestionEntry> what_is_taken() {
  return {
      {Q::times_before_1970, "times.before_1970", "History before 1970 is", true, kTaken},
      {Q::time_zero, "times.zero", "History at 1970-01-01 00:00:00 is", true, kTaken},
      {Q::times_past, "times.past", "History from 1970 to the run's data is", true, kTaken},
      {Q::times_future, "times.future", "History in the future is", true, kTaken},
      {Q::time_lowest, "times.lowest", "History at the lowest time is", true, kTaken},
      {Q::time_highest, "times.highest", "History at the highest time is", true, kTaken},
      {Q::current_before_1970, "current.before_1970", "A current value before 1970 is", true,
       kTaken},
      {Q::current_future, "current.future", "A current value in the future is", true, kTaken},
      {Q::value_nan, "value.nan", "A NaN is", true, kKept},
      {Q::value_infinite, "value.infinite", "An infinite value is", true, kKept},
      {Q::value_negative_zero, "value.negative_zero", "-0.0 is", true, kKept},
      {Q::value_denormal, "value.denormal", "A denormal value is", true, kKept},
      {Q::value_ax_wide, "value.ax_wide", "A value of AX that needs 64 bits is", true, kRounded},
      {Q::value_integer_fraction, "value.integer_fraction", "A fraction in I2 and I4 is", true,
       kRounded},
      {Q::value_integer_range, "value.integer_range", "A value too large for I2 is", true, kKept},
      {Q::value_dx_other, "value.dx_other", "A value of DX other than 0 and 1 is", true, kKept},
      {Q::field_fq_node, "field.fq.node", "FQ of a node is", true, kField},
      {Q::field_ar_node, "field.ar.node", "AR of a node is", true, kField},
      {Q::field_iv_node, "field.iv.node", "IV of a node is", true, kField},
      {Q::field_hw_node, "field.hw.node", "HW of a node is", true, kField},
      {Q::field_fq_point, "field.fq.point", "FQ of a point is", true, kField},
      {Q::field_ar_point, "field.ar.point", "AR of a point is", true, kField},
      {Q::field_iv_point, "field.iv.point", "IV of a point is", true, kField},
      {Q::field_hw_point, "field.hw.point", "HW of a point is", true, kField},
      {Q::names_64, "names.64", "Names of up to 64 bytes are", true, kTaken},
      {Q::names_200, "names.200", "Names of up to 200 bytes are", true, kTaken},
      {Q::names_marks, "names.marks", "Names with marks such as _ % ' are", true, kTaken},
      {Q::names_blank, "names.blank", "Names with blanks are", true, kTaken},
      {Q::names_foreign, "names.foreign", "Names that are not ASCII are", true, kTaken},
      {Q::texts_foreign, "texts.foreign", "Texts that are not ASCII are", true, kTaken},
      {Q::texts_long, "texts.long", "Texts of 10,000 bytes are", true, kTaken},
      {Q::delete_full_node,
       "tree.delete_full_node",
       "Deleting a node that has points",
       true,
       {{A::refused, "is refused"}, {A::children_too, "deletes them too"}}},
      {Q::second_session,
       "session.second",
       "A second session at the same time is",
       true,
       {{A::taken, "opened"}, {A::refused, "refused"}}},
      {Q::calendar,
       "calendar",
       "The library's calendar counts in",
       true,
       {{A::utc, "UTC"}, {A::local, "this host's local time"}, {A::fixed, "a fixed zone"}}},
  };
}

std::vector<QuestionEntry> statistics() {
  return {
      {Q::statistics_time,
       "statistics.time",
       "Statistics: time is",
       true,
       {{A::start, "the interval's start"},
        {A::end, "the interval's end"},
        {A::inside, "the interval's last second"},
        {A::middle, "the interval's middle"},
        {A::first, "the first value's"},
        {A::last, "the last value's"}}},
      {Q::statistics_status,
       "statistics.status",
       "Statistics: status is",
       true,
       {{A::all_bits, "all bits of the values' statuses"},
        {A::first, "the first value's"},
        {A::last, "the last value's"},
        {A::largest, "the largest"},
        {A::smallest, "the smallest"},
        {A::zero, "0"},
        {A::changed, "the server's own"}}},
      {Q::statistics_flow, "statistics.flow", "Statistics: flow is by", true, kAreas},
      {Q::statistics_maxtime, "statistics.maxtime", "Statistics: maxtime is", true, kFirstOrLast},
      {Q::statistics_mintime, "statistics.mintime", "Statistics: mintime is", true, kFirstOrLast},
      {Q::statistics_avg, "statistics.avg", "Statistics: avg is by", true, kAreas},
      {Q::statistics_stdev,
       "statistics.stdev",
       "Statistics: stdev is",
       true,
       {{A::population, "of the population (n)"},
        {A::sample, "of a sample (n - 1), 0 for one value"},
        {A::population_nan, "of the population (n), NaN for one value"},
        {A::one_is_nan, "of a sample (n - 1), NaN for one value"}}},
      {Q::statistics_empty,
       "statistics.empty",
       "Statistics: an interval without values has",
       true,
       {{A::no, "no row"}, {A::yes, "a row"}, {A::later, "a row behind the first value"}}},
      {Q::statistics_grid,
       "statistics.grid",
       "Statistics: intervals begin at",
       true,
       {{A::begin, "the range's begin"}, {A::multiples, "multiples of their length"}}},
      {Q::statistics_last,
       "statistics.last",
       "Statistics: the last interval",
       true,
       {{A::cut, "is cut at the range's end"},
        {A::whole, "is whole"},
        {A::left_out, "is left out"}}},
      {Q::statistics_no_interval,
       "statistics.no_interval",
       "Statistics: an interval of 0 is",
       true,
       {{A::whole, "the whole range"}, {A::refused, "refused"}}},
  };
}

std::vector<QuestionEntry> never_compared() {
  return {
      {Q::empty_result,
       "form.empty_result",
       "A result without rows has",
       false,
       {{A::no_rows, "0 rows"},
        {A::minus_rows, "less than 0 rows"},
        {A::failed_entry, "a failed entry"},
        {A::failed_call, "a failed call"}}},
      {Q::unknown_id,
       "form.unknown_id",
       "The id of an unknown name is",
       false,
       {{A::zero, "0"},
        {A::left_out, "not written"},
        {A::other, "another number"},
        {A::refused, "refused"}}},
      {Q::unknown_children,
       "form.unknown_children",
       "A node that does not exist",
       false,
       {{A::none, "has no points"}, {A::refused, "is refused"}}},
  };
}

}  // namespace

Answers QuestionEntry::all() const {
  Answers all;
  for (const KnownAnswer &known : answers) all = all | known.answer;
  return all;
}

std::string QuestionEntry::text_of(Answers some) const {
  std::string joined;
  for (const KnownAnswer &known : answers) {
    if (!some.has(known.answer)) continue;
    if (!joined.empty()) joined += ", or ";
    joined += known.text;
  }
  return joined;
}

Answer QuestionEntry::answer_of(const std::string &answer_text) const {
  for (const KnownAnswer &known : answers) {
    if (answer_text == known.text) return known.answer;
  }
  throw std::out_of_range("\"" + answer_text + "\" is no answer to " + code);
}

const std::vector<QuestionEntry> &all_questions() {
  static const std::vector<QuestionEntry> all = [] {
    std::vector<QuestionEntry> list(static_cast<size_t>(Question::count));
    for (const auto &part : {values_and_times(), what_is_taken(), statistics(), never_compared()}) {
      for (const QuestionEntry &entry : part) list.at(static_cast<size_t>(entry.question)) = entry;
    }
    return list;
  }();
  return all;
}

const QuestionEntry &entry_of(Question question) {
  return all_questions()[static_cast<size_t>(question)];
}

const QuestionEntry *find_question(const std::string &code) {
  const auto &all = all_questions();
  const auto found = std::find_if(all.begin(), all.end(),
                                  [&](const QuestionEntry &entry) { return code == entry.code; });
  return found == all.end() ? nullptr : &*found;
}

}  // namespace kelpcheck
