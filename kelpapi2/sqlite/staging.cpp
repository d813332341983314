// A block's id is its number times kMostBuckets plus its bucket: what one call writes to all
// buckets comes to lie together, and in a new store at the table's end.
#include "sqlite/staging.h"

#include <algorithm>
#include <limits>

namespace kelp::sqlite {

namespace {

using Times = std::numeric_limits<int32_t>;
constexpr int64_t kNoEnd = std::numeric_limits<int64_t>::max();

int64_t block_id(int32_t bucket, int64_t number) { return number * kMostBuckets + bucket; }

bool before(const PointSample &a, const PointSample &b) {
  return a.point != b.point ? a.point < b.point : a.sample.time < b.sample.time;
}

bool same_key(const PointSample &a, const PointSample &b) {
  return a.point == b.point && a.sample.time == b.sample.time;
}

// Brings samples, of which the newest stand first, into the order of their keys, one of each.
void keep_newest(std::vector<PointSample> &samples) {
  std::stable_sort(samples.begin(), samples.end(), before);
  samples.erase(std::unique(samples.begin(), samples.end(), same_key), samples.end());
}

std::pair<int32_t, int32_t> times_of(std::span<const PointSample> samples) {
  const auto earlier = [](const PointSample &a, const PointSample &b) {
    return a.sample.time < b.sample.time;
  };
  const auto [first, last] = std::minmax_element(samples.begin(), samples.end(), earlier);
  return {first->sample.time, last->sample.time};
}

int32_t oldest_of(const PointSamples &samples) {
  int32_t oldest = Times::max();
  for (const auto &sample : samples) {
    if (sample) oldest = std::min(oldest, sample->time);
  }
  return oldest;
}

}  // namespace

Backlog Staging::backlog(int32_t bucket) {
  Statement &query = database_.statement(
      "SELECT first_block, next_block, samples, first_time, last_time, overlaps FROM backlog"
      " WHERE bucket = ?");
  query.bind(1, int64_t{bucket});
  Backlog backlog{bucket};
  if (query.step()) {
    backlog.first_block = query.integer(0);
    backlog.next_block = query.integer(1);
    backlog.samples = query.integer(2);
    backlog.first_time = static_cast<int32_t>(query.integer(3));
    backlog.last_time = static_cast<int32_t>(query.integer(4));
    backlog.overlaps = query.integer(5) != 0;
  }
  query.reset();
  return backlog;
}

void Staging::write_backlog(const Backlog &backlog) {
  Statement &statement = database_.statement(
      "INSERT OR REPLACE INTO backlog"
      " (bucket, first_block, next_block, samples, first_time, last_time, overlaps)"
      " VALUES (?, ?, ?, ?, ?, ?, ?)");
  statement.bind(1, int64_t{backlog.bucket});
  statement.bind(2, backlog.first_block);
  statement.bind(3, backlog.next_block);
  statement.bind(4, backlog.samples);
  statement.bind(5, int64_t{backlog.first_time});
  statement.bind(6, int64_t{backlog.last_time});
  statement.bind(7, int64_t{backlog.overlaps});
  statement.run();
}

void Staging::write_block(const Backlog &backlog, const Block &block, const std::string &text) {
  Statement &statement = database_.statement(
      "INSERT OR REPLACE INTO staged_block"
      " (id, first_time, last_time, realtime, samples, latest_before) VALUES (?, ?, ?, ?, ?, ?)");
  statement.bind(1, block_id(backlog.bucket, backlog.next_block));
  statement.bind(2, int64_t{block.first_time});
  statement.bind(3, int64_t{block.last_time});
  statement.bind(4, int64_t{block.realtime});
  statement.bind(5, text);
  statement.bind(6, int64_t{block.latest_before});
  statement.run();
}

void Staging::append(Backlog &backlog, std::span<const PointSample> samples, bool realtime) {
  const auto [first, last] = times_of(samples);
  const bool empty = backlog.blocks() == 0;
  Block block{first, last, realtime, empty ? Times::min() : backlog.last_time};
  backlog.overlaps = !empty && (backlog.overlaps || first <= backlog.last_time);
  backlog.first_time = empty ? first : std::min(backlog.first_time, first);
  backlog.last_time = empty ? last : std::max(backlog.last_time, last);
  backlog.samples += static_cast<int64_t>(samples.size());
  while (!samples.empty()) {
    BlockText text(first);
    size_t count = 0;
    while (count < samples.size() && !text.full()) text.add(samples[count++]);
    write_block(backlog, block, text.text());
    block.latest_before = backlog.last_time;
    ++backlog.next_block;
    samples = samples.subspan(count);
  }
  write_backlog(backlog);
}

void Staging::remove(int32_t bucket) {
  erase_blocks(bucket, backlog(bucket).first_block, kNoEnd);
  Statement &forget = database_.statement("DELETE FROM backlog WHERE bucket = ?");
  forget.bind(1, int64_t{bucket});
  forget.run();
}

void Staging::erase_blocks(int32_t bucket, int64_t number, int64_t end) {
  Statement &erase = database_.statement("DELETE FROM staged_block WHERE id = ?");
  for (bool there = true; there && number < end; ++number) {
    erase.bind(1, block_id(bucket, number));
    erase.run();
    there = database_.changes() > 0;
  }
}

template <typename Visit>
bool Staging::show_block(int32_t bucket, int64_t number, Visit &&visit) {
  Statement &query = database_.statement(
      "SELECT first_time, last_time, realtime, samples, latest_before FROM staged_block"
      " WHERE id = ?");
  query.bind(1, block_id(bucket, number));
  if (!query.step()) database_.fail(kDamaged, "a block of staged samples is missing");
  const auto first_time = static_cast<int32_t>(query.integer(0));
  const auto last_time = static_cast<int32_t>(query.integer(1));
  const auto latest_before = static_cast<int32_t>(query.integer(4));
  const Block block{first_time, last_time, query.integer(2) != 0, latest_before};
  const bool more = visit(block, BlockReader(query.bytes(3), first_time));
  query.reset();
  return more;
}

template <typename Visit>
void Staging::visit_blocks(const Backlog &backlog, Visit &&visit) {
  bool more = true;
  for (int64_t number = backlog.next_block; more && number-- > backlog.first_block;) {
    more = show_block(backlog.bucket, number, visit);
  }
}

Staging::Taken Staging::take_oldest(Backlog &backlog, const PointSet &points, int64_t limit) {
  Taken taken;
  int64_t number = backlog.first_block;
  while (number < backlog.next_block && taken.entries < limit) {
    show_block(backlog.bucket, number++, [&](const Block &block, BlockReader entries) {
      for (; entries.next(); ++taken.entries) {
        if (!points[entries.place()]) continue;
        const Sample sample = entries.sample();
        taken.samples.push_back({backlog.bucket * kBucketPoints + entries.place(), sample});
        if (block.realtime) taken.current[entries.place()] = sample;
      }
      return true;
    });
  }
  std::reverse(taken.samples.begin(), taken.samples.end());
  keep_newest(taken.samples);
  backlog.samples -= taken.entries;
  if (number < backlog.next_block) {
    begin_at(backlog, number);
  } else {
    if (backlog.first_block > 0) erase_blocks(backlog.bucket, backlog.first_block, kNoEnd);
    backlog = {backlog.bucket};
  }
  write_backlog(backlog);
  return taken;
}

void Staging::begin_at(Backlog &backlog, int64_t number) {
  erase_blocks(backlog.bucket, backlog.first_block, number);
  backlog.first_block = number;
  backlog.first_time = Times::max();
  backlog.last_time = Times::min();
  visit_blocks(backlog, [&](const Block &block, const BlockReader &) {
    backlog.first_time = std::min(backlog.first_time, block.first_time);
    backlog.last_time = std::max(backlog.last_time, block.last_time);
    return true;
  });
}

std::vector<PointSample> Staging::range(int32_t bucket, const PointSet &points, int64_t begin,
                                        int64_t end) {
  std::vector<PointSample> samples;
  const Backlog staged = backlog(bucket);
  if (staged.last_time < begin || staged.first_time >= end) return samples;
  visit_blocks(staged, [&](const Block &block, BlockReader entries) {
    if (block.last_time < begin || block.first_time >= end) return block.latest_before >= begin;
    while (entries.next()) {
      if (!points[entries.place()]) continue;
      const Sample sample = entries.sample();
      if (sample.time < begin || sample.time >= end) continue;
      samples.push_back({bucket * kBucketPoints + entries.place(), sample});
    }
    return block.latest_before >= begin;
  });
  keep_newest(samples);
  return samples;
}

PointSamples Staging::as_of(int32_t bucket, const PointSet &points, int32_t time) {
  PointSamples found;
  const Backlog staged = backlog(bucket);
  if (staged.first_time > time) return found;
  size_t missing = points.count();
  int64_t oldest = std::numeric_limits<int64_t>::min();  // found, once nothing is missing
  visit_blocks(staged, [&](const Block &block, BlockReader entries) {
    if (block.first_time > time || block.last_time <= oldest) return block.latest_before > oldest;
    while (entries.next()) {
      if (!points[entries.place()]) continue;
      std::optional<Sample> &best = found[entries.place()];
      const Sample sample = entries.sample();
      if (sample.time > time || (best && best->time >= sample.time)) continue;
      if (!best) --missing;
      best = sample;
    }
    if (missing == 0) oldest = oldest_of(found);
    return missing > 0 || block.latest_before > oldest;
  });
  return found;
}

PointSamples Staging::current(int32_t bucket, const PointSet &points) {
  PointSamples found;
  size_t missing = points.count();
  visit_blocks(backlog(bucket), [&](const Block &block, BlockReader entries) {
    while (block.realtime && entries.next()) {
      std::optional<Sample> &newest = found[entries.place()];
      if (newest || !points[entries.place()]) continue;
      newest = entries.sample();
      --missing;
    }
    return missing > 0;
  });
  return found;
}

}  // namespace kelp::sqlite
