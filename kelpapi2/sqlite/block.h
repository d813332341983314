// The text of a block of staged samples: a JSON array with an entry [point, value, status, delay]
// per sample, so that SQL can take it apart (see the views in schema.cpp). `point` counts from the
// first point of the block's bucket, `delay` from the block's time; zeros at the end are left out.
// A value is null for NaN and 9e999 for infinity.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sqlite/sample_writer.h"

namespace kelp::sqlite {

// Points with neighbouring ids share a bucket. There are as many buckets as all ids can need.
constexpr int32_t kBucketPoints = 128;
constexpr int64_t kMostBuckets = (int64_t{1} << 31) / kBucketPoints;
inline int32_t bucket_of(int32_t point) { return point / kBucketPoints; }
inline int32_t place_in_bucket(int32_t point) { return point % kBucketPoints; }

// Puts a block together whose time is not later than any sample's.
class BlockText {
 public:
  explicit BlockText(int32_t time) : time_(time) {}
  void add(const PointSample &sample);
  // Whether another sample might not fit into one page of the database together with the others.
  bool full() const { return text_.size() > 3900; }
  std::string text() const { return text_ + ']'; }

 private:
  int32_t time_;
  std::string text_;
};

// Takes a block apart, entry by entry.
class BlockReader {
 public:
  BlockReader(std::string_view text, int32_t time)
      : at_(text.data()), end_(at_ + text.size()), time_(time) {}

  // Moves to the next entry; false behind the last one. Throws kDamaged on a text of another form.
  bool next();
  // Of the entry: its point's place in the bucket, and the sample.
  int32_t place() const { return place_; }
  Sample sample();

 private:
  const char *at_;
  const char *end_;
  int32_t time_;
  int32_t place_ = 0;
};

}  // namespace kelp::sqlite
