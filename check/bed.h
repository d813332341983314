// What the checks of a family work on: a session and a tree of their own, so that no family depends
// on what another one left. And what families share: blocks of values written to all points and
// compared with what is read.
#pragma once

#include <memory>

#include "library.h"
#include "series.h"

namespace kelpcheck {

// The static fields that the tree is made with, and changed to in later versions.
struct Fields {
  std::string ed;
  int32_t fq, ar, hw;
  double iv;
};
Fields fields_of(size_t number, int32_t version);
void set_fields(ObjectHandle object, const Fields &fields, bool node);

// Which part of the tree a family has: nodes are named PREFIX01, PREFIX02, ... through the
// families.
enum class Tree { none, made, found };

class Bed {
 public:
  Bed(Context &c_, Tree tree, int32_t first_node);

  Context &c;
  std::unique_ptr<Session> session;
  Names nodes;        // own names
  std::string spare;  // the name of one more node, which is not made
  Names names;        // full names of the points
  Ids ids;

  size_t points() const { return names.size(); }
  int32_t kind(size_t point) const { return kKinds[point % std::size(kKinds)]; }
  // The full name of the node of that number, of any family.
  std::string node_name(int32_t number) const;
  std::string full(const std::string &node) const { return c.options.database + "." + node; }
  // Its name and kind.
  std::string described(size_t point) const;
  const std::string &node_of(size_t point) const { return nodes[point * nodes.size() / points()]; }
  // All points by id or by name in an order of its own, in which `order` gives their numbers.
  Who who(bool by_name, const std::vector<size_t> &order) const;

  // Inserts one point under a node; throws unless it was done.
  int32_t add_point(const std::string &node, const std::string &name, int32_t kind) const;

 private:
  void make();
};

// Compares the fields that both kinds of objects have, and those that nodes or points have.
void expect_fields(Evidence &e, ObjectHandle object, const Fields &want, bool node,
                   const std::string &name);
// The part of a full name behind its last full stop.
std::string own_name(const std::string &full_name);

// 0, 1, 2, ... or the same shuffled, the same way each time.
std::vector<size_t> in_order(size_t n);
std::vector<size_t> shuffled(size_t n);
// Some of them from first to last, for a check that is not about many.
std::vector<size_t> some_of(size_t n);

// The most rows that a call carries.
inline constexpr int64_t kRowsPerCall = 100'000;
// Rows enough for a check that is not about many.
inline constexpr int64_t kFew = 50;

// Rows of the series of every point, in a stretch of time of its own: `slot` counts within a
// family. There are as many as --samples says, but at most `most`.
class Window {
 public:
  Window(const Bed &bed, int slot, int64_t most = INT32_MAX);

  int64_t rows;
  int32_t begin, end;

  Sample at(size_t point, int64_t row) const;
  Columns columns(size_t point, int64_t first, int64_t last) const;
  // One row of many points, for writes that have one time for all.
  Columns across(const std::vector<size_t> &order, int64_t row) const;
  // Where evidence says that it is.
  std::string place(size_t point, int64_t row) const;

 private:
  const Bed &bed_;
  uint32_t salt_;
};

// The entries must be 0.
void expect_done(Bed &bed, Op operation, const Out<int32_t> &errors);
// Compares a row, field by field.
template <typename Where>
void expect_sample(Evidence &e, const Sample &want, const Sample &have, Where &&where) {
  e.equal(want.time, have.time, [&] { return "time of " + where(); });
  e.equal(want.status, have.status, [&] { return "status of " + where(); });
  e.equal(want.value, have.value, [&] { return "value of " + where(); });
}

// Compares what was read of points at one moment with a row of the window; the time too, unless the
// readings have none.
void expect_readings(Bed &bed, const Readings &have, const std::vector<size_t> &order,
                     const Window &window, int64_t row, int32_t time, bool with_times);

// Compares one result of a query with rows [first, last) of a point.
void expect_rows(Bed &bed, const History &history, size_t result, const Window &window,
                 size_t point, int64_t first, int64_t last);
// Reads a window of these points and compares it.
void expect_history(Bed &bed, bool by_name, const Window &window,
                    const std::vector<size_t> &points);
// Writes the rows of these points, each point's in two calls.
void write_history(Bed &bed, bool by_name, const Window &window, const std::vector<size_t> &points,
                   bool later_block_first = false);

}  // namespace kelpcheck
