// Samples on their way into their table, which is kept in the order of points and times. A call
// that writes one row to each of many points would touch a page for every point there. It is staged
// instead: its rows for the 128 points of a bucket make one block, which is about one page.
//
// The blocks of a bucket are numbered in the order in which they were written; those that wait to
// be merged are its backlog. Once all are merged the numbers begin at 0 again, and the rows that
// the blocks had in the file are written over: a block that keeps its place costs one page,
// deleting and inserting it costs several. Where only the oldest of many were merged their rows are
// removed.
#pragma once

#include <array>
#include <bitset>
#include <optional>
#include <vector>

#include "sqlite/block.h"

namespace kelp::sqlite {

struct Backlog {
  int32_t bucket = 0;
  // The blocks from the one number on to before the other.
  int64_t first_block = 0;
  int64_t next_block = 0;
  int64_t samples = 0;
  // The earliest and the latest time of the samples, if there are any.
  int32_t first_time = 0;
  int32_t last_time = 0;
  // Whether there may be several samples of the same point and time.
  bool overlaps = false;

  int64_t blocks() const { return next_block - first_block; }
};

using PointSet = std::bitset<kBucketPoints>;                            // by place in the bucket
using PointSamples = std::array<std::optional<Sample>, kBucketPoints>;  // likewise

class Staging {
 public:
  explicit Staging(Database &database) : database_(database) {}

  Backlog backlog(int32_t bucket);
  // Adds samples of the bucket's points, of which none have the same point and time.
  void append(Backlog &backlog, std::span<const PointSample> samples, bool realtime);
  // Frees the room that the blocks of a bucket have had.
  void remove(int32_t bucket);

  struct Taken {
    int64_t entries = 0;
    std::vector<PointSample> samples;  // of each point and time the one that was written last
    PointSamples current;              // what the last real-time call among them wrote
  };
  // Takes the oldest blocks out of the backlog, with about `limit` entries if it has more. Of their
  // samples, those of the points.
  Taken take_oldest(Backlog &backlog, const PointSet &points, int64_t limit);

  // The samples of the points in [begin, end), by point and time, each as it was written last.
  std::vector<PointSample> range(int32_t bucket, const PointSet &points, int64_t begin,
                                 int64_t end);
  // The newest sample of each of the points at or before the time.
  PointSamples as_of(int32_t bucket, const PointSet &points, int32_t time);
  // The sample of each of the points that the latest real-time call wrote.
  PointSamples current(int32_t bucket, const PointSet &points);

 private:
  struct Block {
    int32_t first_time;  // not later than the time of any sample
    int32_t last_time;
    bool realtime;
    int32_t latest_before;  // not earlier than the time of any sample in earlier blocks
  };
  // Shows a block and its entries to `visit`, and returns what that does.
  template <typename Visit>
  bool show_block(int32_t bucket, int64_t number, Visit &&visit);
  // Shows a bucket's blocks, the newest first, until `visit` returns false.
  template <typename Visit>
  void visit_blocks(const Backlog &backlog, Visit &&visit);
  void write_block(const Backlog &backlog, const Block &block, const std::string &text);
  void write_backlog(const Backlog &backlog);
  // Takes the blocks before one of the backlog out of it.
  void begin_at(Backlog &backlog, int64_t number);
  // Removes blocks from the file, up to `end` or to the last one that there is.
  void erase_blocks(int32_t bucket, int64_t number, int64_t end);

  Database &database_;
};

}  // namespace kelp::sqlite
