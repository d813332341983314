#include "load/work.h"

#include <iterator>

#include "result/text.h"

namespace kelpcheck {

namespace {

// A mix of ten calls.
constexpr CallKind kMix[] = {CallKind::write, CallKind::write, CallKind::read,  CallKind::write,
                             CallKind::write, CallKind::query, CallKind::write, CallKind::read,
                             CallKind::write, CallKind::write};
constexpr int64_t kMixed = std::size(kMix), kMixedWrites = 7, kMixedReads = 2, kMixedQueries = 1;

}  // namespace

const char *name_of(Doing doing) {
  switch (doing) {
    case Doing::write: return "write";
    case Doing::history: return "history";
    case Doing::snap: return "snap";
    case Doing::read: return "read";
    case Doing::query: return "query";
    default: return "mixed";
  }
}

Work::Work(const LoadOptions &options)
    : doing_(options.doing), points_(options.points), rows_(options.rows) {
  const bool reads = doing_ == Doing::read || doing_ == Doing::query || doing_ == Doing::mixed;
  filled_ = reads ? rows_ + 1 : 0;  // the last one is a current value
}

CallKind Work::kind(int32_t session, int64_t call) const {
  switch (doing_) {
    case Doing::write: return CallKind::write;
    case Doing::history: return CallKind::history;
    case Doing::snap: return CallKind::snap;
    case Doing::read: return CallKind::read;
    case Doing::query: return CallKind::query;
    default: return kMix[(call + session) % kMixed];
  }
}

int64_t Work::rows(CallKind kind) const {
  return kind == CallKind::history || kind == CallKind::query ? rows_ : points_;
}

double Work::mean_rows() const {
  if (doing_ != Doing::mixed) return static_cast<double>(rows(kind(0, 0)));
  const int64_t sum = (kMixedWrites + kMixedReads) * points_ + kMixedQueries * rows_;
  return static_cast<double>(sum) / kMixed;
}

RowRange Work::range(int64_t write) const {
  if (doing_ == Doing::history) return {filled_ + write / points_ * rows_, rows_};
  return {filled_ + write, 1};
}

int64_t Work::seconds_needed(int64_t writes) const {
  if (writes == 0) return filled_;
  const RowRange last = range(writes - 1);
  return last.first + last.count;
}

int64_t Work::writes_among(int64_t calls) const {
  if (doing_ == Doing::mixed) return (calls + kMixed - 1) / kMixed * kMixedWrites;
  return writes() ? calls : 0;
}

std::string Work::words() const {
  const std::string all = text("all ", points_, " points");
  switch (doing_) {
    case Doing::write: return "kelp2_write_value of " + all;
    case Doing::history: return text("kelp2_write_histroy_byid of ", rows_, " rows of one point");
    case Doing::snap: return "kelp2_write_snap of " + all;
    case Doing::read: return "kelp2_get_value_byid of " + all;
    case Doing::query: return text("kelp2_get_history_byid of ", rows_, " rows of one point");
    default:
      return text("ten calls of which ", kMixedWrites, " write and ", kMixedReads, " read ", all,
                  ", and ", kMixedQueries, " queries ", rows_, " rows of one point");
  }
}

// splitmix64 over all three.
LoadValue load_value(int32_t session, int32_t point, int64_t second) {
  uint64_t bits = static_cast<uint64_t>(second) * 0x9E3779B97F4A7C15 +
                  static_cast<uint64_t>(point) * 0xD1B54A32D192ED03 +
                  static_cast<uint64_t>(session) * 0x8CB92BA72F3D8DD7;
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
  bits ^= bits >> 27;
  const auto number = static_cast<int32_t>(bits & 0xFFFFF) - 0x80000;
  return {static_cast<int16_t>(bits >> 40 & 1), number / 16.0};
}

}  // namespace kelpcheck
