// Samples on their way into their table, which is kept in the order of points and times. A call
// that writes one row to each of many points would touch a page for every point there. It is staged
// instead: its rows for the 128 points of a bucket make one block, which is about one page.
//
// The blocks of a bucket are numbered in the order of their writing, and the bucket counts those in
// use. Once they are merged the count is 0 and their rows in the file are written over by later
// blocks: a block that keeps its place costs one page, one that comes and goes costs several.
#pragma once

#include <array>
#include <bitset>
#include <optional>
#include <vector>

#include "sqlite/block.h"

namespace kelp::sqlite {

struct Bucket {
  int32_t id = 0;
  int64_t blocks = 0;
  int64_t samples = 0;
  // The earliest and the latest time of the samples, if there are any.
  int32_t first_time = 0;
  int32_t last_time = 0;
};

using PointSet = std::bitset<kBucketPoints>;                            // by place in the bucket
using PointSamples = std::array<std::optional<Sample>, kBucketPoints>;  // likewise

class Staging {
 public:
  explicit Staging(Database &database) : database_(database) {}

  Bucket bucket(int32_t id);
  // Adds samples of the bucket's points, of which none have the same point and time.
  void append(Bucket &bucket, std::span<const PointSample> samples, bool realtime);
  // Takes all blocks of a bucket out of use.
  void clear(int32_t bucket);
  // Frees the room that the blocks of a bucket have had.
  void remove(int32_t bucket);

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
  };
  // Shows a bucket's blocks and their entries to `visit`, the newest first, until it returns false.
  template <typename Visit>
  void visit_blocks(const Bucket &bucket, Visit &&visit);
  void write_block(const Bucket &bucket, const Block &block, const std::string &text);
  void write_bucket(const Bucket &bucket);

  Database &database_;
};

}  // namespace kelp::sqlite
