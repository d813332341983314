// A block's id is its number times 2^24 plus its bucket: what one call writes to all buckets comes
// to lie together, and in a new store at the table's end.
#include "sqlite/staging.h"

#include <algorithm>
#include <limits>

namespace kelp::sqlite {

namespace {

constexpr int64_t kMostBuckets = int64_t{1} << 24;  // of 128 points: as many as there are ids

int64_t block_id(int32_t bucket, int64_t number) { return number * kMostBuckets + bucket; }

bool before(const PointSample &a, const PointSample &b) {
  return a.point != b.point ? a.point < b.point : a.sample.time < b.sample.time;
}

bool same_key(const PointSample &a, const PointSample &b) {
  return a.point == b.point && a.sample.time == b.sample.time;
}

std::pair<int32_t, int32_t> times_of(std::span<const PointSample> samples) {
  const auto earlier = [](const PointSample &a, const PointSample &b) {
    return a.sample.time < b.sample.time;
  };
  const auto [first, last] = std::minmax_element(samples.begin(), samples.end(), earlier);
  return {first->sample.time, last->sample.time};
}

int32_t oldest_of(const PointSamples &samples) {
  int32_t oldest = std::numeric_limits<int32_t>::max();
  for (const auto &sample : samples) {
    if (sample) oldest = std::min(oldest, sample->time);
  }
  return oldest;
}

}  // namespace

Bucket Staging::bucket(int32_t id) {
  Statement &query =
      database_.statement("SELECT blocks, samples, first_time, last_time FROM bucket WHERE id = ?");
  query.bind(1, int64_t{id});
  Bucket bucket{id};
  if (query.step()) {
    bucket.blocks = query.integer(0);
    bucket.samples = query.integer(1);
    bucket.first_time = static_cast<int32_t>(query.integer(2));
    bucket.last_time = static_cast<int32_t>(query.integer(3));
  }
  query.reset();
  return bucket;
}

void Staging::write_bucket(const Bucket &bucket) {
  Statement &statement = database_.statement(
      "INSERT INTO bucket (id, blocks, samples, first_time, last_time) VALUES (?, ?, ?, ?, ?)"
      " ON CONFLICT (id) DO UPDATE SET blocks = excluded.blocks, samples = excluded.samples,"
      " first_time = excluded.first_time, last_time = excluded.last_time");
  statement.bind(1, int64_t{bucket.id});
  statement.bind(2, bucket.blocks);
  statement.bind(3, bucket.samples);
  statement.bind(4, int64_t{bucket.first_time});
  statement.bind(5, int64_t{bucket.last_time});
  statement.run();
}

void Staging::write_block(const Bucket &bucket, const Block &block, const std::string &text) {
  Statement &statement = database_.statement(
      "INSERT OR REPLACE INTO staged_block (id, first_time, last_time, realtime, samples)"
      " VALUES (?, ?, ?, ?, ?)");
  statement.bind(1, block_id(bucket.id, bucket.blocks));
  statement.bind(2, int64_t{block.first_time});
  statement.bind(3, int64_t{block.last_time});
  statement.bind(4, int64_t{block.realtime});
  statement.bind(5, text);
  statement.run();
}

void Staging::append(Bucket &bucket, std::span<const PointSample> samples, bool realtime) {
  const auto [first, last] = times_of(samples);
  bucket.first_time = bucket.blocks == 0 ? first : std::min(bucket.first_time, first);
  bucket.last_time = bucket.blocks == 0 ? last : std::max(bucket.last_time, last);
  bucket.samples += static_cast<int64_t>(samples.size());
  while (!samples.empty()) {
    BlockText text(first);
    size_t count = 0;
    while (count < samples.size() && !text.full()) text.add(samples[count++]);
    write_block(bucket, {first, last, realtime}, text.text());
    ++bucket.blocks;
    samples = samples.subspan(count);
  }
  write_bucket(bucket);
}

void Staging::clear(int32_t id) { write_bucket(Bucket{id}); }

void Staging::remove(int32_t id) {
  Statement &erase = database_.statement("DELETE FROM staged_block WHERE id = ?");
  int64_t number = 0;
  do {
    erase.bind(1, block_id(id, number++));
    erase.run();
  } while (database_.changes() > 0);
  Statement &forget = database_.statement("DELETE FROM bucket WHERE id = ?");
  forget.bind(1, int64_t{id});
  forget.run();
}

template <typename Visit>
void Staging::visit_blocks(const Bucket &bucket, Visit &&visit) {
  Statement &query = database_.statement(
      "SELECT first_time, last_time, realtime, samples FROM staged_block WHERE id = ?");
  bool more = true;
  for (int64_t number = bucket.blocks - 1; number >= 0 && more; --number) {
    query.bind(1, block_id(bucket.id, number));
    if (!query.step()) database_.fail(kDamaged, "a block of staged samples is missing");
    const auto first_time = static_cast<int32_t>(query.integer(0));
    const auto last_time = static_cast<int32_t>(query.integer(1));
    more = visit(Block{first_time, last_time, query.integer(2) != 0},
                 BlockReader(query.bytes(3), first_time));
    query.reset();
  }
}

std::vector<PointSample> Staging::range(int32_t id, const PointSet &points, int64_t begin,
                                        int64_t end) {
  std::vector<PointSample> samples;
  const Bucket staged = bucket(id);
  if (staged.last_time < begin || staged.first_time >= end) return samples;
  visit_blocks(staged, [&](const Block &block, BlockReader entries) {
    if (block.last_time < begin || block.first_time >= end) return true;
    while (entries.next()) {
      if (!points[entries.place()]) continue;
      const Sample sample = entries.sample();
      if (sample.time < begin || sample.time >= end) continue;
      samples.push_back({id * kBucketPoints + entries.place(), sample});
    }
    return true;
  });
  // Of the samples of one key the newest stands first, and stays.
  std::stable_sort(samples.begin(), samples.end(), before);
  samples.erase(std::unique(samples.begin(), samples.end(), same_key), samples.end());
  return samples;
}

PointSamples Staging::as_of(int32_t id, const PointSet &points, int32_t time) {
  PointSamples found;
  const Bucket staged = bucket(id);
  if (staged.first_time > time) return found;
  size_t missing = points.count();
  int32_t oldest = 0;  // of what was found, once nothing is missing
  visit_blocks(staged, [&](const Block &block, BlockReader entries) {
    if (block.first_time > time || (missing == 0 && block.last_time <= oldest)) return true;
    while (entries.next()) {
      if (!points[entries.place()]) continue;
      std::optional<Sample> &best = found[entries.place()];
      const Sample sample = entries.sample();
      if (sample.time > time || (best && best->time >= sample.time)) continue;
      if (!best) --missing;
      best = sample;
    }
    if (missing == 0) oldest = oldest_of(found);
    return true;
  });
  return found;
}

PointSamples Staging::current(int32_t id, const PointSet &points) {
  PointSamples found;
  size_t missing = points.count();
  visit_blocks(bucket(id), [&](const Block &block, BlockReader entries) {
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
