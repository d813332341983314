// Honest servers: what the header leaves open about writing values and reading them back.
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "servers.h"

namespace planted {

namespace {

constexpr int32_t kTenYears = 10 * 365 * kDay;

void keep_newer_current(Write &write) {
  if (write.by != Writer::kValue) return;
  for (Sample &sample : write.samples) {
    const Sample current = current_of(write.connection, sample.id);
    if (current.error != 0 || current.time <= sample.time) continue;
    real().write_histroy_byid(write.connection, 0, sample.id, 1, &sample.time, &sample.status,
                              &sample.value, &sample.error);
    sample.lost = true;
  }
}

void keep_first(Write &write) {
  if (!is_history(write) && !is_cache(write)) return;
  std::set<std::pair<int32_t, int32_t>> seen;
  for (Sample &sample : write.samples) {
    const bool again = !seen.insert({sample.id, sample.time}).second;
    if (sample.time == std::numeric_limits<int32_t>::max()) continue;
    if (!is_point(write.connection, sample.id)) continue;
    const auto stored = stored_rows(write.connection, sample.id, sample.time, sample.time + 1);
    sample.lost = again || !stored.empty();
  }
}

void hide_if(Write &write, Writer hidden) {
  if (write.result != 0) return;
  write.by == hidden ? hide_from_history(write) : show_in_history(write);
}

void keep_back_unless_current(Write &write, int milliseconds) {
  if (write.by != Writer::kValue) keep_back(write, milliseconds);
}

void hand_on_cache_in_halves(Write &write) {
  if (!is_cache(write)) return;
  const std::vector<Sample> all = write.samples;
  const auto middle = write.samples.begin() + static_cast<ptrdiff_t>(all.size() / 2);
  Write half = write;
  half.samples.erase(half.samples.begin() + static_cast<ptrdiff_t>(all.size() / 2),
                     half.samples.end());
  keep_back(half, 1000);
  write.samples.erase(write.samples.begin(), middle);
  keep_back(write, 3000);
  write.samples.insert(write.samples.begin(), half.samples.begin(), half.samples.end());
}

void never_hand_on(Write &write) {
  if (is_cache(write)) keep_back(write, std::numeric_limits<int>::max());
}

void round_points(Write &write, int32_t kind, double (*rounded)(double)) {
  for (Sample &sample : write.samples) {
    if (is_kind(sample.id, kind)) sample.value = rounded(sample.value);
  }
}

bool fits_i2(const Sample &sample) {
  return !is_kind(sample.id, I2) || (sample.value >= -32768 && sample.value <= 32767);
}

bool fits_dx(const Sample &sample) {
  return !is_kind(sample.id, DX) || sample.value == 0 || sample.value == 1;
}

void refuse_in_future(Write &write) {
  const int64_t latest = int64_t(time_now(write.connection)) + 60;
  refuse_point(write, [=](const Sample &sample) { return sample.time > latest; });
}

void refuse_old(Write &write) {
  const int64_t oldest = int64_t(time_now(write.connection)) - kTenYears;
  refuse_point(write, [=](const Sample &sample) { return sample.time < oldest; });
}

void fail_when_all_fail(Write &write) {
  const auto failed = [](const Sample &sample) { return sample.error != 0; };
  if (!write.samples.empty() && std::ranges::all_of(write.samples, failed)) write.result = -98;
}

void fail_when_all_fail(Read &read) {
  const auto failed = [](const Sample &sample) { return sample.error != 0; };
  if (!read.samples.empty() && std::ranges::all_of(read.samples, failed)) read.result = -98;
}

// The stored rows up to and at a time, of which the last is the value at it.
std::vector<Row> rows_until(const Read &read, int32_t id, int32_t from) {
  if (read.time == std::numeric_limits<int32_t>::max()) return {};
  return stored_rows(read.connection, id, from, read.time + 1);
}

void only_exact_snaps(Read &read) {
  if (!read.snap || read.result != 0) return;
  for (Sample &sample : read.samples) {
    if (sample.error == 0 && rows_until(read, sample.id, read.time).empty()) sample.error = -8;
  }
}

void only_snaps_of_a_day(Read &read) {
  if (!read.snap || read.result != 0) return;
  const int64_t from =
      std::max<int64_t>(int64_t(read.time) - kDay, std::numeric_limits<int32_t>::min());
  for (Sample &sample : read.samples) {
    const bool known = sample.error == 0;
    if (known && rows_until(read, sample.id, static_cast<int32_t>(from)).empty()) sample.error = -8;
  }
}

void interpolate_snaps(Read &read) {
  constexpr int32_t last = std::numeric_limits<int32_t>::max();
  if (!read.snap || read.result != 0 || read.time == last) return;
  for (Sample &sample : read.samples) {
    if (sample.error != 0) continue;
    const auto before =
        stored_rows(read.connection, sample.id, std::numeric_limits<int32_t>::min(), read.time + 1);
    const auto after = stored_rows(read.connection, sample.id, read.time + 1, last);
    if (before.empty() || after.empty()) continue;
    const Row &left = before.back();
    const Row &right = after.front();
    const double part = (double(read.time) - left.time) / (double(right.time) - left.time);
    if (part > 0) sample.value = left.value + part * (right.value - left.value);
  }
}

void positive_codes(std::vector<Sample> &samples) {
  for (Sample &sample : samples) sample.error = std::abs(sample.error);
}

double to_float(double value) { return static_cast<float>(value); }

const Server kHonestValues[] = {
    {.name = "older_keeps_current", .write = keep_newer_current},
    {.name = "first_row_stays", .write = keep_first},
    {.name = "realtime_not_in_history",
     .written = [](Write &write) { hide_if(write, Writer::kValue); },
     .rows = drop_hidden_rows,
     .statistics = leave_hidden_out},
    {.name = "snapshots_not_in_history",
     .written = [](Write &write) { hide_if(write, Writer::kSnap); },
     .rows = drop_hidden_rows,
     .statistics = leave_hidden_out},
    {.name = "readable_after_30ms",
     .write = [](Write &write) { keep_back_unless_current(write, 30); }},
    {.name = "readable_after_1s",
     .write = [](Write &write) { keep_back_unless_current(write, 1000); }},
    {.name = "history_after_300ms",
     .write =
         [](Write &write) {
           if (is_history(write)) keep_back(write, 300);
         }},
    {.name = "snapshots_after_500ms",
     .write =
         [](Write &write) {
           if (write.by == Writer::kSnap) keep_back(write, 500);
         }},
    {.name = "current_after_50ms",
     .write =
         [](Write &write) {
           if (write.by == Writer::kValue) keep_back(write, 50);
         }},
    {.name = "cache_after_3s",
     .write =
         [](Write &write) {
           if (is_cache(write)) keep_back(write, 3000);
         }},
    {.name = "cache_in_halves", .write = hand_on_cache_in_halves},
    {.name = "cache_never", .write = never_hand_on},
    {.name = "ax_is_float",
     .write = [](Write &write) { round_points(write, AX, to_float); },
     .modified = note_kinds},
    {.name = "integers_are_rounded",
     .write =
         [](Write &write) {
           round_points(write, I2, std::nearbyint);
           round_points(write, I4, std::nearbyint);
         },
     .modified = note_kinds},
    {.name = "i2_refuses_out_of_range",
     .write =
         [](Write &write) {
           refuse_point(write, [](const Sample &sample) { return !fits_i2(sample); });
         },
     .modified = note_kinds},
    {.name = "dx_takes_0_and_1",
     .write =
         [](Write &write) {
           refuse_point(write, [](const Sample &sample) { return !fits_dx(sample); });
         },
     .modified = note_kinds},
    {.name = "nan_refused",
     .write =
         [](Write &write) {
           refuse_point(write, [](const Sample &sample) { return std::isnan(sample.value); });
         }},
    {.name = "infinity_refused",
     .write =
         [](Write &write) {
           refuse_point(write, [](const Sample &sample) { return std::isinf(sample.value); });
         }},
    {.name = "negative_zero_is_zero",
     .write =
         [](Write &write) {
           for (Sample &sample : write.samples) sample.value += 0.0;
         }},
    {.name = "before_1970_refused",
     .write =
         [](Write &write) {
           refuse_point(write, [](const Sample &sample) { return sample.time < 0; });
         }},
    {.name = "future_refused", .write = refuse_in_future},
    {.name = "ten_years_back_only", .write = refuse_old},
    {.name = "ten_thousand_rows_a_call",
     .write =
         [](Write &write) {
           if (write.samples.size() > 10000) write.result = -30;
         }},
    {.name = "thousand_points_a_read",
     .read =
         [](Read &read) {
           if (read.ids.size() > 1000) read.result = -30;
         }},
    {.name = "positive_codes_of_writes",
     .written =
         [](Write &write) {
           if (write.by != Writer::kValue) positive_codes(write.samples);
         }},
    {.name = "positive_codes_of_reads",
     .was_read = [](Read &read) { positive_codes(read.samples); }},
    {.name = "writes_fail_with_all_entries",
     .written = [](Write &write) { fail_when_all_fail(write); }},
    {.name = "reads_fail_with_all_entries",
     .was_read = [](Read &read) { fail_when_all_fail(read); }},
    {.name = "snapshots_exact", .was_read = only_exact_snaps},
    {.name = "snapshots_of_a_day", .was_read = only_snaps_of_a_day},
    {.name = "snapshots_interpolated", .was_read = interpolate_snaps},
    {.name = "slow_writes", .write = [](Write &) { usleep(5000); }},
    {.name = "slow_reads", .read = [](Read &) { usleep(5000); }},
};

}  // namespace

std::span<const Server> honest_values() { return kHonestValues; }

}  // namespace planted
