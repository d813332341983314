#include "explore/ways.h"

namespace kelpcheck::explore {

Ways Ways::of_bundled() {
  Ways ways;
  ways.bundled = ways.at_once = true;
  for (Second *second :
       {&ways.second, &ways.second_in_call, &ways.second_snapshot, &ways.second_cached}) {
    *second = Second::replaces;
  }
  ways.end_inside = Known::no;
  ways.snap_sets_current = Known::no;
  for (Known *known :
       {&ways.older_replaces, &ways.equal_replaces, &ways.value_in_history, &ways.snap_in_history,
        &ways.cache_in_history, &ways.snap_holds, &ways.full_nodes_stay, &ways.utc,
        &ways.statistics, &ways.statistics_status, &ways.statistics_cut}) {
    *known = Known::yes;
  }
  for (auto &fields : ways.kept) {
    for (bool &kept : fields) kept = true;
  }
  return ways;
}

namespace {

Known known(const Habits &habits, Question question, kelpcheck::Answer yes, kelpcheck::Answer no) {
  if (!habits.unknown(question).empty()) return Known::unknown;
  if (habits.is(question, yes)) return Known::yes;
  return habits.is(question, no) ? Known::no : Known::unknown;
}

bool as_bundled(const Habits &habits, std::initializer_list<Question> questions) {
  for (const Question question : questions) {
    const bool unknown = !habits.unknown(question).empty();
    if (unknown || !habits.is(question, entry_of(question).bundled())) return false;
  }
  return true;
}

Second second_known(const Habits &habits, Question question) {
  if (!habits.unknown(question).empty()) return Second::unknown;
  if (habits.is(question, kelpcheck::Answer::replaces)) return Second::replaces;
  if (habits.is(question, kelpcheck::Answer::ignored)) return Second::first_stays;
  return habits.is(question, kelpcheck::Answer::both) ? Second::both : Second::unknown;
}

}  // namespace

Ways Ways::of(const Habits &habits) {
  using Q = Question;
  using A = kelpcheck::Answer;
  const auto answer = [&](Q question, A yes, A no) { return known(habits, question, yes, no); };
  Ways ways;
  ways.at_once = habits.longest_wait == 0;
  ways.end_inside = answer(Q::range_end, A::inside, A::outside);
  ways.second = second_known(habits, Q::second_value);
  ways.second_in_call = second_known(habits, Q::second_in_call);
  ways.second_snapshot = second_known(habits, Q::second_snapshot);
  ways.second_cached = second_known(habits, Q::second_cached);
  ways.older_replaces = answer(Q::older_current, A::replaces, A::ignored);
  ways.equal_replaces = answer(Q::equal_current, A::replaces, A::ignored);
  ways.value_in_history = answer(Q::current_in_history, A::yes, A::no);
  ways.snap_in_history = answer(Q::snapshot_in_history, A::yes, A::no);
  ways.snap_sets_current = answer(Q::snapshot_sets_current, A::always, A::never);
  ways.full_nodes_stay = answer(Q::delete_full_node, A::refused, A::children_too);
  ways.utc = answer(Q::calendar, A::utc, A::local);
  // Rows that become history some time later may do so at any time.
  if (as_bundled(habits, {Q::cache})) ways.cache_in_history = Known::yes;
  if (as_bundled(habits,
                 {Q::cache, Q::snapshot_between, Q::snapshot_before_first, Q::snapshot_of_history,
                  Q::snapshot_of_current, Q::snapshot_in_history, Q::current_in_history})) {
    ways.snap_holds = Known::yes;
  }
  // Whatever the statuses of rows have been so far, a server may have its own; and ranges that are
  // whole intervals say nothing about others.
  if (as_bundled(habits, {Q::statistics_status})) ways.statistics_status = Known::yes;
  if (as_bundled(habits, {Q::statistics_last})) ways.statistics_cut = Known::yes;
  if (as_bundled(habits, {Q::statistics_time, Q::statistics_flow, Q::statistics_maxtime,
                          Q::statistics_mintime, Q::statistics_avg, Q::statistics_stdev,
                          Q::statistics_empty, Q::statistics_grid})) {
    ways.statistics = Known::yes;
  }
  const Q fields[2][4] = {
      {Q::field_fq_node, Q::field_ar_node, Q::field_iv_node, Q::field_hw_node},
      {Q::field_fq_point, Q::field_ar_point, Q::field_iv_point, Q::field_hw_point}};
  for (int sort = 0; sort < 2; ++sort) {
    for (int i = 0; i < 4; ++i) ways.kept[sort][i] = as_bundled(habits, {fields[sort][i]});
  }
  return ways;
}

}  // namespace kelpcheck::explore
