// The 40 operations as the checks use them: handles released by scope, arrays with a mark in every
// entry and one entry more than the library was told of, names handed over in a buffer that is
// overwritten at once. What the header promises of every call alike is thereby checked by every
// call: that it writes all entries, none behind them, and copies what it keeps.
#pragma once

#include <memory>
#include <stdexcept>
#include <variant>

#include "context.h"

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

// A call that failed as a whole, and where no session could be made.
struct CallFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};
struct NoSession : CallFailed {
  NoSession() : CallFailed("kelp2_init gave no session") {}
};

// Calls an operation that returns 0 on success.
template <auto Function, typename... Arguments>
void checked(int64_t rows, Arguments... arguments) {
  const int32_t result = call<Function>(rows, arguments...);
  if (result == 0) return;
  ++blackboard->figure(static_cast<int>(kOpOf<Function>)).failures;
  throw CallFailed(text(name_of(kOpOf<Function>), " gave ", result));
}

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
  ObjectHandle operator[](size_t i) const { return handles_[i]; }
  void add(ObjectHandle object) { handles_.push_back(object); }

 private:
  Context &c_;
  std::vector<ObjectHandle> handles_;
  ObjectHandle *list_ = nullptr;
};

void set(ObjectHandle object, const char *field, const std::string &value);
void set(ObjectHandle object, const char *field, int32_t value);
void set(ObjectHandle object, const char *field, double value);
std::string get_text(ObjectHandle object, const char *field, size_t size = 4096);
int32_t get_int(ObjectHandle object, const char *field);
double get_double(ObjectHandle object, const char *field);

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
  int32_t rows(size_t i) const { return call<kelp2_num_rows>(0, results_[i]); }
  Sample next(size_t i) const;
  StatValue next_statistics(size_t i) const;

 private:
  Context &c_;
  std::vector<ResultHandle> results_;
};

struct Modified {
  int32_t count;  // as the library gave it
  Out<int32_t> errors;
};

class Session {
 public:
  // Throws NoSession.
  explicit Session(Context &c);
  ~Session();
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  int32_t status() const { return call<kelp2_status>(0, handle_); }
  int32_t time() const;

  ObjectHandle new_object(const std::string &name, int32_t kind) const;  // throws on null
  Objects databases() const;
  Objects children(const std::string &node) const;
  Objects objects(const Who &points) const;
  Ids ids(const Group &group) const;
  Ids ids(const Names &names) const { return ids(Group(c_, names)); }
  Modified modify(ModifyOperation operation, const std::string &parent, Objects &objects) const;
  Modified modify(ModifyOperation operation, const std::string &parent, size_t count,
                  ObjectHandle *objects) const;

  // Writes give an entry per row, or a single one where all rows are of one point.
  Out<int32_t> write_value(const Ids &ids, int32_t time, const Columns &rows) const;
  Out<int32_t> write_history(int32_t id, const Columns &rows) const;
  Out<int32_t> write_history(const std::string &name, const Columns &rows) const;
  Out<int32_t> write_cache(const Ids &ids, const Columns &rows) const;
  Out<int32_t> write_cache_one(int32_t id, const Columns &rows) const;
  Out<int32_t> write_snap(const Ids &ids, int32_t time, const Columns &rows) const;

  Readings values(const Who &points) const;
  Readings snap(const Who &points, int32_t time) const;
  History history(const Who &points, const std::vector<int32_t> &modes, int32_t begin, int32_t end,
                  int32_t interval) const;
  History history(const Who &points, int32_t begin, int32_t end) const;

 private:
  template <auto ById, auto ByName, typename... Arguments>
  void ask(const Who &points, Arguments... arguments) const;
  template <auto Function, typename Time>
  Out<int32_t> write(const Ids &ids, Time time, const Columns &rows) const;
  template <auto Function, typename Point>
  Out<int32_t> write_one(Point point, const Columns &rows) const;
  template <typename... Outs>
  void guard(Op operation, const Outs &...outs) const;

  Context &c_;
  ConnectionHandle handle_;
};

// The number of points that these are.
size_t size_of(const Who &points);

}  // namespace kelpcheck
