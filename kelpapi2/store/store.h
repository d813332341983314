// The interface between the C functions and the engines that keep the data. Everything that handles
// many entries is one call over whole arrays, so that each engine can take its own best way.
// Failures of a whole call are thrown (Failure); those of single entries are returned.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "store/result_code.h"

namespace kelp {

struct Sample {
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
};

// Kinds in the tree: databases are the library's own, the others are those of ObjectKind.
constexpr int32_t kDatabaseKind = 8;
constexpr int32_t kNodeKind = 16;
constexpr int32_t kFirstPointKind = 32;
constexpr int32_t kLastPointKind = 36;

// The static fields of an object.
struct ObjectRecord {
  int32_t id = 0;
  int32_t kind = 0;
  std::string name;
  std::string ed;
  int32_t fq = 0;
  int32_t ar = 0;
  double iv = 0;
  int32_t hw = 0;
};

// Which fields of a record were changed, as a set of bits.
enum ChangedField : uint32_t {
  kChangedEd = 1,
  kChangedFq = 2,
  kChangedAr = 4,
  kChangedIv = 8,
  kChangedHw = 16
};

struct ObjectChange {
  int32_t id;
  uint32_t changed;  // of ChangedField
  const ObjectRecord *record;
};

// A column of rows: one entry per row, or a single one that holds for all of them.
template <typename T>
class Column {
 public:
  static Column of(const T *entries) { return Column(entries, T{}, false); }
  static Column all(T value) { return Column(nullptr, value, true); }
  T operator[](size_t row) const { return constant_ ? value_ : entries_[row]; }
  bool constant() const { return constant_; }

 private:
  Column(const T *entries, T value, bool constant)
      : entries_(entries), value_(value), constant_(constant) {}
  const T *entries_;
  T value_;
  bool constant_;
};

// Samples to write, as columns over the caller's arrays.
struct SampleRows {
  size_t count;
  Column<int32_t> ids;
  Column<int32_t> times;
  const int16_t *statuses;
  const double *values;
};

// What the rows of a write most likely look like, which is a hint, and whether they set the points'
// current values, which is not.
enum class WriteKind {
  history,   // runs of one point in time order; of several points, in any order, for the cache
  snapshot,  // one time, many points
  realtime   // as snapshot, and sets the points' current values
};

// What was read of one point; the sample holds only if the error is kOk.
struct Reading {
  Sample sample;
  ResultCode error = kNoValue;
};

// See history.h.
struct HistoryQuery;
class HistoryRows;

class Store {
 public:
  virtual ~Store() = default;

  // Fails if the session does not work: a lost server is noticed only by asking it.
  virtual void check() = 0;
  virtual int32_t now() = 0;

  // The tree. Names are full names; an id of 0 or an empty record stands for an unknown object.
  virtual std::vector<ObjectRecord> databases() = 0;
  // The objects under a node; none if there is no such node. Fails if there is no such database.
  virtual std::vector<ObjectRecord> children(const std::string &name) = 0;
  virtual std::vector<std::optional<ObjectRecord>> points(std::span<const int32_t> ids) = 0;
  virtual std::vector<std::optional<ObjectRecord>> objects(std::span<const std::string> names) = 0;
  virtual std::vector<int32_t> point_ids(std::span<const std::string> names) = 0;
  // Each call is one transaction; an entry that fails leaves the others alone. `insert` sets the
  // ids of the records that it inserted.
  virtual std::vector<ResultCode> insert(const std::string &parent,
                                         std::span<ObjectRecord *const> records) = 0;
  virtual std::vector<ResultCode> update(const std::string &parent,
                                         std::span<const ObjectChange> changes) = 0;
  virtual std::vector<ResultCode> erase(const std::string &parent,
                                        std::span<const int32_t> ids) = 0;

  // Stores all rows of known points in one transaction; a later row replaces an earlier one of the
  // same point and time. Returns an entry per row.
  virtual std::vector<ResultCode> write(WriteKind kind, const SampleRows &rows) = 0;
  virtual std::vector<Reading> current(std::span<const int32_t> ids) = 0;
  // The newest sample of each point at or before the time.
  virtual std::vector<Reading> as_of(std::span<const int32_t> ids, int32_t time) = 0;
  // All rows of the query, those of one moment. Where the samples are distributed over several
  // servers, those of each point are.
  virtual std::unique_ptr<HistoryRows> history(const HistoryQuery &query) = 0;
};

// What kelp2_init is given, as far as it matters to an engine.
struct StoreAddress {
  std::string host;
  int32_t port;
  std::string user;
  std::string password;
  int32_t wait_seconds;  // how long a call waits for other writers, or for a silent server
  bool lazy_commits;     // commits are not waited for
};

}  // namespace kelp
