// The library's handles, released by scope, and arrays for it to fill, with a mark in every entry
// and one entry more than it was told of. So every call checks what the header promises for all
// calls: that it writes all entries and nothing after them.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "probe/context.h"

namespace kelpcheck {

using Ids = std::vector<int32_t>;
using Names = std::vector<std::string>;
using Who = std::variant<Ids, Names>;  // the same points, by id or by full name

struct Sample {
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
};

struct Columns {
  std::vector<int32_t> times;
  std::vector<int16_t> statuses;
  std::vector<double> values;

  void add(const Sample &sample);
  int32_t size() const { return static_cast<int32_t>(times.size()); }
};

// An array that the library fills. Entries that it should have written and did not hold a mark that
// compares unequal to whatever is expected.
template <typename T>
class Out {
 public:
  explicit Out(size_t size) : entries_(size + 1, kMark) {}
  T *data() { return entries_.data(); }
  size_t size() const { return entries_.size() - 1; }
  const T &operator[](size_t i) const { return entries_[i]; }
  bool overrun() const { return entries_.back() != kMark; }

 private:
  static constexpr T kMark = static_cast<T>(-0x5A5B);
  std::vector<T> entries_;
};

// What was read of points at one moment, entry by entry.
struct Readings {
  explicit Readings(size_t n) : times(n), statuses(n), values(n), errors(n) {}
  Out<int32_t> times;  // not of snapshots
  Out<int16_t> statuses;
  Out<double> values;
  Out<int32_t> errors;
  Sample operator[](size_t i) const { return {times[i], statuses[i], values[i]}; }
};

// Releasing gives 0 like every operation; in a destructor that can only be noted.
template <auto Function, typename... Arguments>
void release(Context &c, Arguments... arguments) {
  const int32_t result = c.calls.call<Function>(0, arguments...);
  if (result != 0) c.calls.count_failure(kOpOf<Function>);
  c.evidence.equal(0, result, [] { return text("result of ", name_of(kOpOf<Function>)); });
}

class Group {
 public:
  Group(Context &c, const Names &names);
  ~Group();
  Group(const Group &) = delete;
  Group &operator=(const Group &) = delete;
  GroupHandle handle() const { return handle_; }
  size_t size() const { return size_; }

 private:
  Context &c_;
  GroupHandle handle_;
  size_t size_;
};

// An object while its owner keeps it; null where its entry failed.
struct Object {
  const Calls *calls;
  ObjectHandle handle;
  operator ObjectHandle() const { return handle; }
};

void set(Object object, const char *field, const std::string &value);
void set(Object object, const char *field, int32_t value);
void set(Object object, const char *field, double value);
// Through a buffer of that size, zero included.
std::string get_text(Object object, const char *field, size_t size = 4096);
int32_t get_int(Object object, const char *field);
double get_double(Object object, const char *field);

// Objects, made, read or listed; null where an entry failed.
class Objects {
 public:
  Objects(Context &c, size_t size) : errors(size), c_(c), handles_(size, nullptr) {}
  // Takes over a list of the library's.
  Objects(Context &c, int32_t count, ObjectHandle *list);
  ~Objects();
  Objects(Objects &&) noexcept;
  Objects(const Objects &) = delete;
  Objects &operator=(const Objects &) = delete;

  Out<int32_t> errors;
  size_t size() const { return handles_.size(); }
  ObjectHandle *data() { return handles_.data(); }
  Object operator[](size_t i) const { return {&c_.calls, handles_[i]}; }
  void add(ObjectHandle object) { handles_.push_back(object); }

 private:
  Context &c_;
  std::vector<ObjectHandle> handles_;
  ObjectHandle *list_ = nullptr;
};

// The results of a history query, one per point.
class History {
 public:
  History(Context &c, size_t size) : errors(size), c_(c), results_(size, nullptr) {}
  ~History();
  History(History &&) noexcept;
  History(const History &) = delete;
  History &operator=(const History &) = delete;

  Out<int32_t> errors;
  size_t size() const { return results_.size(); }
  ResultHandle *data() { return results_.data(); }
  int32_t rows(size_t i) const { return c_.calls.call<kelp2_num_rows>(0, results_[i]); }
  Sample next(size_t i) const;
  StatValue next_statistics(size_t i) const;
  // Reads what is left of the rows for their number alone.
  int64_t fetch_all(size_t i) const;

 private:
  Context &c_;
  std::vector<ResultHandle> results_;
};

// A text in a buffer of its own, which is overwritten once the library has had it: it copies what
// it keeps.
class Passing {
 public:
  explicit Passing(const std::string &value) : value_(value) {}
  ~Passing() { value_.assign(value_.size(), '#'); }
  const char *c_str() const { return value_.c_str(); }

 private:
  std::string value_;
};

// The number of points that these are.
size_t size_of(const Who &points);

}  // namespace kelpcheck
