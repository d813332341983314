// The table is written in the order of its key, whatever the order of a call's rows.
#include "sqlite/samples.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

#include "store/sql_store.h"

namespace kelp::sqlite {

namespace {

// A bucket with a backlog of so many blocks is due to be merged. More of them make fewer writes to
// the disk, as each point's pages are written once for all its samples in them, and reading one
// point slower.
constexpr int64_t kDueBlocks = 256;
// What a call may merge at most: a little more than what it writes, so that buckets which were
// first filled together come apart and no backlog grows without end, and beside it the usual
// backlog of a bucket, so that a small call can merge one as well.
constexpr int64_t kMergedBeside = kDueBlocks * kBucketPoints;
constexpr int64_t merged_for(size_t rows) { return static_cast<int64_t>(rows + rows / 4); }
// Rows of one call that are this many per point go straight into the table.
constexpr size_t kLongRun = 16;

// The points by bucket.
std::unordered_map<int32_t, PointSet> by_bucket(std::span<const int32_t> points) {
  std::unordered_map<int32_t, PointSet> buckets;
  for (const int32_t point : points) buckets[bucket_of(point)].set(place_in_bucket(point));
  return buckets;
}

Sample sample_of(const Statement &row) {
  return {static_cast<int32_t>(row.integer(0)), static_cast<int16_t>(row.integer(1)), row.real(2)};
}

// Runs a query for at most one sample of a point, the first parameter.
std::optional<Sample> read_one(Statement &query, int32_t point) {
  query.bind(1, int64_t{point});
  std::optional<Sample> sample;
  if (query.step()) sample = sample_of(query);
  query.reset();
  return sample;
}

// The samples of one point, of samples in key order.
std::span<const PointSample> samples_of_point(std::span<const PointSample> samples, int32_t point) {
  const auto before = [](const PointSample &sample, int32_t id) { return sample.point < id; };
  const auto begin = std::lower_bound(samples.begin(), samples.end(), point, before);
  const auto other = [&](const PointSample &sample) { return sample.point != point; };
  return {begin, std::find_if(begin, samples.end(), other)};
}

// Reads the rows of a query for one point, and over them its staged samples.
void read_rows(Statement &query, std::span<const PointSample> staged, HistoryRows &rows) {
  bool merged = query.step();
  while (merged || !staged.empty()) {
    const int64_t time = merged ? query.integer(0) : std::numeric_limits<int64_t>::max();
    if (staged.empty() || time < staged[0].sample.time) {
      rows.add(sample_of(query));
      merged = query.step();
    } else {
      rows.add(staged[0].sample);
      if (time == staged[0].sample.time) merged = query.step();
      staged = staged.subspan(1);
    }
  }
}

// The positions of the points that exist, in ascending order of the points.
std::vector<size_t> in_point_order(std::span<const int32_t> points) {
  std::vector<size_t> order;
  for (size_t i = 0; i < points.size(); ++i) {
    if (points[i] != 0) order.push_back(i);
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return points[a] < points[b]; });
  return order;
}

}  // namespace

Samples::Samples(Database &database)
    : database_(database),
      staging_(database),
      merged_(database, "merged_sample", kReplaceSample),
      merged_values_(database, "merged_value", kReplaceCurrentValue) {}

void Samples::write(WriteKind kind, const SampleRows &rows, const std::vector<ResultCode> &codes) {
  const std::vector<KeyedRow> order = in_key_order(rows, codes);
  std::vector<Backlog> due;
  int64_t allowance = kMergedBeside;
  for (std::span<const KeyedRow> left(order); !left.empty();) {
    const int32_t bucket = bucket_of(left[0].point());
    const auto elsewhere = [&](const KeyedRow &row) { return bucket_of(row.point()) != bucket; };
    const auto part = left.first(std::find_if(left.begin(), left.end(), elsewhere) - left.begin());
    left = left.subspan(part.size());
    allowance += merged_for(part.size());
    Backlog backlog = staging_.backlog(bucket);
    const bool long_runs = part.size() >= kLongRun * count_points(part);
    if (kind == WriteKind::history && long_runs && make_way(backlog, rows, part, allowance)) {
      write_merged(rows, part);
    } else {
      staging_.append(backlog, samples_of(rows, part), kind == WriteKind::realtime);
      if (backlog.blocks() >= kDueBlocks) due.push_back(backlog);
    }
  }
  merge_due(due, allowance);
}

// What is staged counts as written later, so that rows which overlap it can go into the table only
// once it is there.
bool Samples::make_way(Backlog &backlog, const SampleRows &rows, std::span<const KeyedRow> part,
                       int64_t &allowance) {
  const auto overlaps = [&](const KeyedRow &row) {
    const int32_t time = rows.times[row.row];
    return time >= backlog.first_time && time <= backlog.last_time;
  };
  if (backlog.blocks() == 0 || std::none_of(part.begin(), part.end(), overlaps)) return true;
  if (backlog.samples > allowance) return false;
  merge(backlog, allowance);
  return true;
}

void Samples::write_merged(const SampleRows &rows, std::span<const KeyedRow> part) {
  constexpr size_t rows_at_once = 4096;
  while (!part.empty()) {
    const auto next = part.first(std::min(part.size(), rows_at_once));
    merged_.write(samples_of(rows, next));
    part = part.subspan(next.size());
  }
}

void Samples::merge_due(std::vector<Backlog> &due, int64_t allowance) {
  const auto fuller = [](const Backlog &a, const Backlog &b) { return a.blocks() > b.blocks(); };
  std::stable_sort(due.begin(), due.end(), fuller);
  size_t count = 0;
  for (int64_t share = allowance - kMergedBeside; count < due.size() && share > 0; ++count) {
    share -= due[count].samples;
  }
  due.resize(count);
  const auto first = [](const Backlog &a, const Backlog &b) { return a.bucket < b.bucket; };
  std::sort(due.begin(), due.end(), first);
  for (Backlog &backlog : due) {
    if (allowance > 0) merge(backlog, allowance);
  }
}

void Samples::merge(Backlog &backlog, int64_t &allowance) {
  const int32_t first_point = backlog.bucket * kBucketPoints;
  const auto taken = staging_.take_oldest(backlog, existing_points(backlog.bucket), allowance);
  allowance -= taken.entries;
  merged_.write(taken.samples);
  std::vector<PointSample> values;
  for (int32_t place = 0; place < kBucketPoints; ++place) {
    if (taken.current[place]) values.push_back({first_point + place, *taken.current[place]});
  }
  merged_values_.write(values);
}

PointSet Samples::existing_points(int32_t bucket) {
  static const std::string select =
      "SELECT id FROM object WHERE id BETWEEN ? AND ? AND " + kIsPoint;
  Statement &query = database_.statement(select);
  const int64_t first = int64_t{bucket} * kBucketPoints;
  query.bind(1, first);
  query.bind(2, first + kBucketPoints - 1);
  PointSet points;
  while (query.step()) points.set(static_cast<size_t>(query.integer(0) - first));
  return points;
}

std::vector<std::optional<Sample>> Samples::current(std::span<const int32_t> points) {
  std::unordered_map<int32_t, PointSamples> staged;
  for (const auto &[bucket, set] : by_bucket(points)) {
    staged.emplace(bucket, staging_.current(bucket, set));
  }
  Statement &query =
      database_.statement("SELECT time, status, value FROM merged_value WHERE point_id = ?");
  std::vector<std::optional<Sample>> samples;
  for (const int32_t point : points) {
    const auto &sample = staged.at(bucket_of(point))[place_in_bucket(point)];
    samples.push_back(sample ? sample : read_one(query, point));
  }
  return samples;
}

std::vector<std::optional<Sample>> Samples::as_of(std::span<const int32_t> points, int32_t time) {
  std::unordered_map<int32_t, PointSamples> staged;
  for (const auto &[bucket, set] : by_bucket(points)) {
    staged.emplace(bucket, staging_.as_of(bucket, set, time));
  }
  Statement &query = database_.statement(
      "SELECT time, status, value FROM merged_sample WHERE point_id = ? AND time <= ?"
      " ORDER BY time DESC LIMIT 1");
  query.bind(2, int64_t{time});
  std::vector<std::optional<Sample>> samples;
  for (const int32_t point : points) {
    const auto &sample = staged.at(bucket_of(point))[place_in_bucket(point)];
    const auto merged = sample && sample->time == time ? sample : read_one(query, point);
    samples.push_back(!sample || (merged && merged->time > sample->time) ? merged : sample);
  }
  return samples;
}

// What is staged is read bucket by bucket, so that it is never in memory for all of them.
void Samples::history(std::span<const int32_t> points, const Intervals &range, HistoryRows &rows) {
  Statement &query = database_.statement(
      "SELECT time, status, value FROM merged_sample"
      " WHERE point_id = ? AND time >= ? AND time < ? ORDER BY time");
  query.bind(2, int64_t{range.begin});
  query.bind(3, int64_t{range.end});
  const std::vector<size_t> order = in_point_order(points);
  for (std::span<const size_t> left(order); !left.empty();) {
    const int32_t bucket = bucket_of(points[left[0]]);
    PointSet set;
    size_t count = 0;
    while (count < left.size() && bucket_of(points[left[count]]) == bucket) {
      set.set(place_in_bucket(points[left[count++]]));
    }
    const std::vector<PointSample> staged = staging_.range(bucket, set, range.begin, range.end);
    for (const size_t position : left.first(count)) {
      rows.begin_point(position);
      query.bind(1, int64_t{points[position]});
      read_rows(query, samples_of_point(staged, points[position]), rows);
    }
    left = left.subspan(count);
  }
}

int64_t Samples::erase(int32_t point, int64_t limit) {
  Statement &bound = database_.statement(
      "SELECT time FROM merged_sample WHERE point_id = ? ORDER BY time LIMIT 1 OFFSET ?");
  bound.bind(1, int64_t{point});
  bound.bind(2, limit);
  const bool more = bound.step();
  const int64_t end = more ? bound.integer(0) : std::numeric_limits<int64_t>::max();
  bound.reset();
  Statement &erase =
      database_.statement("DELETE FROM merged_sample WHERE point_id = ? AND time < ?");
  erase.bind(1, int64_t{point});
  erase.bind(2, end);
  erase.run();
  const int64_t erased = database_.changes();
  if (more) return erased;
  Statement &erase_value = database_.statement("DELETE FROM merged_value WHERE point_id = ?");
  erase_value.bind(1, int64_t{point});
  erase_value.run();
  if (existing_points(bucket_of(point)).none()) staging_.remove(bucket_of(point));
  return erased;
}

}  // namespace kelp::sqlite
