// Faulty servers: writes that are acknowledged and lost, altered, or misreported.
#include <algorithm>
#include <limits>

#include "servers.h"

namespace planted {

namespace {

template <class Predicate>
void lose_history(Write &write, Predicate matches) {
  if (is_history(write)) lose(write, matches);
}

bool is_leap_day(const Sample &sample) {
  const Date date = date_of(sample.time);
  return date.month == 2 && date.day == 29;
}

bool is_last_day(const Sample &sample) {
  const Date date = date_of(sample.time);
  return date.month == 12 && date.day == 31;
}

void lose_rows_from(Write &write, size_t first) {
  for (size_t i = first; i < write.samples.size(); ++i) write.samples[i].lost = true;
}

// The stored status stays when a row is written again.
void keep_old_status(Write &write) {
  if (!is_history(write)) return;
  for (Sample &sample : write.samples) {
    if (sample.time == std::numeric_limits<int32_t>::max()) continue;
    const auto old = stored_rows(write.connection, sample.id, sample.time, sample.time + 1);
    if (!old.empty()) sample.status = old[0].status;
  }
}

// Every third newer value of a point does not become its current one.
void lose_third_current(Write &write) {
  static std::map<int32_t, int> writes;
  if (write.by != Writer::kValue) return;
  lose(write, [](const Sample &sample) { return ++writes[sample.id] % 3 == 0; });
}

void refuse_duplicates(Write &write) {
  if (write.by != Writer::kValue) return;
  std::set<int32_t> seen;
  refuse(write, [&](const Sample &sample) { return !seen.insert(sample.id).second; });
}

void refuse_duplicate_times(Write &write) {
  if (!is_history(write)) return;
  std::set<int32_t> seen;
  bool twice = false;
  for (const Sample &sample : write.samples) twice = twice || !seen.insert(sample.time).second;
  if (twice) write.result = -1;
}

void swallow_errors(Write &write) {
  for (Sample &sample : write.samples) sample.error = 0;
}

void shift_errors(Write &write) {
  if (write.by != Writer::kValue || write.samples.size() < 3) return;
  for (size_t i = write.samples.size() - 1; i > 0; --i) {
    write.samples[i].error = write.samples[i - 1].error;
  }
  write.samples[0].error = 0;
}

// What follows an unknown point is not written.
void stop_at_unknown(Write &write) {
  bool stopped = false;
  for (Sample &sample : write.samples) {
    const bool unknown = !stopped && !is_point(write.connection, sample.id);
    sample.lost = stopped;
    stopped = stopped || unknown;
  }
}

void ignore_name_end(Write &write) {
  if (write.by != Writer::kHistoryByName || write.samples.empty()) return;
  std::string name = write.name;
  if (write.samples[0].id != 0 || name.empty()) return;
  const size_t stop = name.find('.');
  if (stop == std::string::npos) return;
  name = "W3" + name.substr(stop);
  const int32_t id = ids_of(write.connection, {&name, 1})[0];
  for (Sample &sample : write.samples) sample.id = id;
}

size_t last_name_size(const std::string &name) { return name.size() - (name.rfind('.') + 1); }

template <class Predicate>
void lose_named(Write &write, Predicate matches) {
  if (write.by != Writer::kHistoryByName || !matches(write.name)) return;
  if (!write.samples.empty() && write.samples[0].id != 0) lose_rows_from(write, 0);
}

bool is_not_ascii(const std::string &name) {
  return std::ranges::any_of(name, [](char letter) { return letter < 0; });
}

// Sets the current value too, of points that have one.
void set_current_too(Write &write, bool also) {
  if (!also || write.result != 0) return;
  for (const Sample &sample : write.samples) {
    int32_t error = 0;
    real().write_value(write.connection, 0, 1, &sample.id, sample.time, &sample.status,
                       &sample.value, &error);
  }
}

void swap_neighbours(Write &write) {
  if (write.by != Writer::kCache) return;
  for (size_t i = 0; i + 1 < write.samples.size(); i += 2) {
    std::swap(write.samples[i].value, write.samples[i + 1].value);
  }
}

void lose_all_in_second_session(Write &write) {
  if (open_sessions() > 1 && session_number(write.connection) > 1) lose_rows_from(write, 0);
}

void same_value_for_all_beyond(Write &write, size_t first) {
  if (write.by != Writer::kValue) return;
  for (size_t i = first; i < write.samples.size(); ++i) {
    write.samples[i].value = write.samples[first - 1].value;
  }
}

template <class Change>
void change(Write &write, Change one) {
  for (Sample &sample : write.samples) one(sample);
}

void move_before_1970(Sample &sample) {
  if (sample.time < 0 && sample.time > std::numeric_limits<int32_t>::min()) --sample.time;
}

const Server kFaultyWrites[] = {
    {.name = "history_lost_before_1970",
     .write = [](Write &w) { lose_history(w, [](const Sample &s) { return s.time < 0; }); }},
    {.name = "history_lost_after_2030",
     .write =
         [](Write &w) { lose_history(w, [](const Sample &s) { return s.time > kYear2030; }); }},
    {.name = "history_lost_at_time_0",
     .write = [](Write &w) { lose_history(w, [](const Sample &s) { return s.time == 0; }); }},
    {.name = "history_lost_at_last_second",
     .write =
         [](Write &w) { lose_history(w, [](const Sample &s) { return s.time >= 2147483646; }); }},
    {.name = "history_lost_on_leap_days", .write = [](Write &w) { lose_history(w, is_leap_day); }},
    {.name = "history_lost_on_last_days", .write = [](Write &w) { lose_history(w, is_last_day); }},
    {.name = "history_lost_at_midnight",
     .write =
         [](Write &w) { lose_history(w, [](const Sample &s) { return s.time % kDay == 0; }); }},
    {.name = "snapshots_lost_before_1970",
     .write =
         [](Write &w) {
           if (w.by == Writer::kSnap) lose(w, [](const Sample &s) { return s.time < 0; });
         }},
    {.name = "history_moved_before_1970",
     .write =
         [](Write &w) {
           if (is_history(w)) change(w, move_before_1970);
         }},
    {.name = "large_values_are_0",
     .write =
         [](Write &w) {
           change(w, [](Sample &s) {
             if (std::isfinite(s.value) && std::abs(s.value) >= 1e99) s.value = 0;
           });
         }},
    {.name = "tiny_values_are_0",
     .write =
         [](Write &w) {
           change(w, [](Sample &s) {
             if (std::abs(s.value) < 1e-30) s.value = 0;
           });
         }},
    {.name = "negative_values_cut",
     .write =
         [](Write &w) {
           if (w.by == Writer::kSnap)
             change(w, [](Sample &s) { s.value = std::max(s.value, 0.0); });
         }},
    {.name = "negative_status_positive",
     .write =
         [](Write &w) {
           change(w, [](Sample &s) {
             if (s.status < 0) s.status = static_cast<int16_t>(-(s.status + 1));
           });
         }},
    {.name = "status_is_a_byte",
     .write =
         [](Write &w) {
           change(w, [](Sample &s) {
             if (s.status > 255) s.status = static_cast<int16_t>(s.status & 255);
           });
         }},
    {.name = "history_status_lost_by_name",
     .write =
         [](Write &w) {
           if (w.by == Writer::kHistoryByName) change(w, [](Sample &s) { s.status = 0; });
         }},
    {.name = "rows_beyond_360_lost",
     .write =
         [](Write &w) {
           if (is_history(w)) lose_rows_from(w, 360);
         }},
    {.name = "rows_beyond_1024_lost",
     .write =
         [](Write &w) {
           if (is_history(w)) lose_rows_from(w, 1024);
         }},
    {.name = "rows_beyond_65536_lost",
     .write =
         [](Write &w) {
           if (is_history(w)) lose_rows_from(w, 65536);
         }},
    {.name = "points_beyond_50_share_a_value",
     .write = [](Write &w) { same_value_for_all_beyond(w, 50); }},
    {.name = "status_kept_when_overwritten", .write = keep_old_status},
    {.name = "third_current_lost", .write = lose_third_current},
    {.name = "point_twice_refused", .write = refuse_duplicates},
    {.name = "time_twice_fails", .write = refuse_duplicate_times},
    {.name = "unknown_points_swallowed", .written = swallow_errors},
    {.name = "unknown_cached_points_swallowed",
     .written =
         [](Write &w) {
           if (is_cache(w)) swallow_errors(w);
         }},
    {.name = "entries_one_too_late", .written = shift_errors},
    {.name = "rest_lost_after_unknown",
     .write =
         [](Write &w) {
           if (w.by == Writer::kValue) stop_at_unknown(w);
         }},
    {.name = "snapshots_stop_at_unknown",
     .write =
         [](Write &w) {
           if (w.by == Writer::kSnap) stop_at_unknown(w);
         }},
    {.name = "cache_entry_positions_lost",
     .written =
         [](Write &w) {
           if (w.by != Writer::kCache) return;
           int32_t any = 0;
           for (const Sample &s : w.samples) any = any ? any : s.error;
           for (Sample &s : w.samples) s.error = any;
         }},
    {.name = "write_ignores_database", .write = ignore_name_end},
    {.name = "names_of_20_lose_history",
     .write = [](Write &w) { lose_named(w, [](auto &n) { return last_name_size(n) == 20; }); }},
    {.name = "names_of_64_lose_history",
     .write = [](Write &w) { lose_named(w, [](auto &n) { return last_name_size(n) == 64; }); }},
    {.name = "foreign_names_lose_history", .write = [](Write &w) { lose_named(w, is_not_ascii); }},
    {.name = "cache_status_lost",
     .write =
         [](Write &w) {
           if (w.by == Writer::kCache) change(w, [](Sample &s) { s.status = 0; });
         }},
    {.name = "cache_values_swapped", .write = swap_neighbours},
    {.name = "cache_one_a_second_late",
     .write =
         [](Write &w) {
           if (w.by == Writer::kCacheOne)
             change(w, [](Sample &s) {
               if (s.time % 2) --s.time;
             });
         }},
    {.name = "snapshot_status_lost",
     .write =
         [](Write &w) {
           if (w.by == Writer::kSnap) change(w, [](Sample &s) { s.status = 0; });
         }},
    {.name = "snapshots_set_current",
     .written = [](Write &w) { set_current_too(w, w.by == Writer::kSnap); }},
    {.name = "history_sets_current",
     .written = [](Write &w) { set_current_too(w, is_history(w)); }},
    {.name = "cache_sets_current", .written = [](Write &w) { set_current_too(w, is_cache(w)); }},
    {.name = "second_session_loses_writes", .write = lose_all_in_second_session},
};

}  // namespace

std::span<const Server> faulty_writes() { return kFaultyWrites; }

}  // namespace planted
