// Faulty servers: current values and snapshots that are read wrongly.
#include <algorithm>
#include <limits>

#include "servers.h"

namespace planted {

namespace {

bool by_name(const Read &read) { return !read.names.empty(); }

bool has_duplicates(const std::vector<int32_t> &ids) {
  return std::set<int32_t>(ids.begin(), ids.end()).size() < ids.size();
}

void zero_where_never_written(Read &read) {
  if (read.snap) return;
  for (Sample &sample : read.samples) {
    if (sample.error != 0 && is_point(read.connection, sample.id)) sample = {sample.id, 0, 0, 0};
  }
}

void unknown_reads_zero(Read &read) {
  for (Sample &sample : read.samples) sample.error = 0;
}

// By name, the value of a point is remembered from its first read.
void remember_first(Read &read) {
  static std::map<int32_t, Sample> first;
  if (read.snap || !by_name(read)) return;
  for (Sample &sample : read.samples) {
    if (sample.error == 0) sample = first.insert({sample.id, sample}).first->second;
  }
}

void rotate_groups_with_duplicates(Read &read) {
  if (!by_name(read) || read.snap || !has_duplicates(read.ids)) return;
  std::ranges::rotate(read.samples, read.samples.begin() + 1);
}

void sort_by_id(Read &read) {
  if (by_name(read) || read.snap) return;
  std::ranges::stable_sort(read.samples, {}, &Sample::id);
}

void repeat_beyond(Read &read, size_t first) {
  for (size_t i = first; i < read.samples.size(); ++i) {
    const int32_t error = read.samples[i].error;
    read.samples[i] = read.samples[first - 1];
    read.samples[i].error = error;
  }
}

void stamp_with_now(Read &read) {
  if (read.snap || !by_name(read)) return;
  for (Sample &sample : read.samples) sample.time = time_now(read.connection);
}

void remember_deleted(Read &read) {
  static std::map<int32_t, Sample> known;
  if (read.snap) return;
  for (Sample &sample : read.samples) {
    if (sample.error == 0) {
      known[sample.id] = sample;
    } else if (known.contains(sample.id)) {
      sample = known[sample.id];
    }
  }
}

// The newest value of all, whatever the time.
void read_newest(Read &read) {
  if (read.snap) read.time = std::numeric_limits<int32_t>::max();
}

void previous_at_exact_time(Read &read) {
  if (read.snap && read.time > std::numeric_limits<int32_t>::min()) --read.time;
}

void stop_at_failure(Read &read) {
  int32_t failed = 0;
  for (Sample &sample : read.samples) {
    if (failed == 0) failed = sample.error;
    if (failed != 0) sample.error = failed;
  }
}

void fail_repeated(Read &read) {
  std::set<int32_t> seen;
  for (Sample &sample : read.samples) {
    if (!seen.insert(sample.id).second) sample.error = -4;
  }
}

template <class Change>
void change(Read &read, bool snap, Change one) {
  if (read.snap != snap) return;
  for (Sample &sample : read.samples) one(sample);
}

// What a name says before its first full stop is not looked at.
void any_database(Read &read) {
  if (!by_name(read)) return;
  for (size_t i = 0; i < read.names.size(); ++i) {
    const size_t stop = read.names[i].find('.');
    if (read.ids[i] != 0 || stop == std::string::npos) continue;
    const std::string name = "W3" + read.names[i].substr(stop);
    read.ids[i] = ids_of(read.connection, {&name, 1})[0];
  }
}

const Server kFaultyReads[] = {
    {.name = "never_written_reads_0", .was_read = zero_where_never_written},
    {.name = "unknown_reads_0", .was_read = unknown_reads_zero},
    {.name = "current_remembered_by_name", .was_read = remember_first},
    {.name = "current_rotated_with_duplicates", .was_read = rotate_groups_with_duplicates},
    {.name = "current_sorted_by_id", .was_read = sort_by_id},
    {.name = "current_repeats_beyond_50",
     .was_read =
         [](Read &read) {
           if (!read.snap) repeat_beyond(read, 50);
         }},
    {.name = "snapshots_repeat_beyond_64",
     .was_read =
         [](Read &read) {
           if (read.snap) repeat_beyond(read, 64);
         }},
    {.name = "current_time_is_now_by_name", .was_read = stamp_with_now},
    {.name = "current_status_lost_by_name",
     .was_read =
         [](Read &read) {
           if (by_name(read)) change(read, false, [](Sample &sample) { sample.status = 0; });
         }},
    {.name = "current_time_not_below_0",
     .was_read =
         [](Read &read) {
           change(read, false, [](Sample &sample) { sample.time = std::max(sample.time, 0); });
         }},
    {.name = "current_negative_status_lost",
     .was_read =
         [](Read &read) {
           change(read, false, [](Sample &s) {
             if (s.status < 0) s.status = 0;
           });
         }},
    {.name = "current_is_float_by_name",
     .was_read =
         [](Read &read) {
           if (!by_name(read)) return;
           change(read, false, [](Sample &s) { s.value = static_cast<float>(s.value); });
         }},
    {.name = "deleted_points_still_read", .was_read = remember_deleted},
    {.name = "snapshot_is_newest", .read = read_newest},
    {.name = "snapshot_is_newest_by_name",
     .read =
         [](Read &read) {
           if (by_name(read)) read_newest(read);
         }},
    {.name = "snapshot_misses_its_second", .read = previous_at_exact_time},
    {.name = "snapshot_at_0_is_newest",
     .read =
         [](Read &read) {
           if (read.time == 0) read_newest(read);
         }},
    {.name = "snapshot_read_status_lost",
     .was_read = [](Read &read) { change(read, true, [](Sample &s) { s.status = 0; }); }},
    {.name = "snapshot_one_for_all_by_name",
     .was_read =
         [](Read &read) {
           if (read.snap && by_name(read) && read.samples.size() > 2) repeat_beyond(read, 2);
         }},
    {.name = "reads_stop_at_unknown", .was_read = stop_at_failure},
    {.name = "second_of_two_equal_fails", .was_read = fail_repeated},
    {.name = "empty_reads_fail",
     .read =
         [](Read &read) {
           if (read.ids.empty()) read.result = -1;
         }},
    {.name = "reads_ignore_database", .read = any_database},
    {.name = "second_session_reads_status_0",
     .was_read =
         [](Read &read) {
           if (session_number(read.connection) < 2) return;
           change(read, false, [](Sample &sample) { sample.status = 0; });
         }},
};

}  // namespace

std::span<const Server> faulty_reads() { return kFaultyReads; }

}  // namespace planted
