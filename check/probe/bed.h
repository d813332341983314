// What the checks of a family work on: a session and a tree of their own, so that no family depends
// on what another one left.
#pragma once

#include <memory>

#include "probe/check_context.h"
#include "probe/fields.h"
#include "probe/series.h"
#include "probe/session.h"
#include "probe/tree.h"

namespace kelpcheck {

class Bed {
 public:
  Bed(CheckContext &c_, Tree tree, int32_t first_node);

  CheckContext &c;
  std::unique_ptr<Session> session;
  Names nodes;        // own names
  std::string spare;  // the name of one more node, which is not made
  Names names;        // full names of the points
  Ids ids;

  size_t points() const { return names.size(); }
  int32_t kind(size_t point) const { return kKinds[point % std::size(kKinds)]; }
  // The full name of the node of that number, of any family.
  std::string node_name(int32_t number) const;
  std::string full(const std::string &node) const { return c.server.database + "." + node; }
  // Its name and kind.
  std::string described(size_t point) const;
  const std::string &node_of(size_t point) const { return nodes[point * nodes.size() / points()]; }
  // All points by id or by name in an order of its own, in which `order` gives their numbers.
  Who who(bool by_name, const std::vector<size_t> &order) const;

  // One more session beside the bed's; null where the server refuses it.
  std::unique_ptr<Session> another_session() const;
  // The same for a check that is about two of them, and does not apply without.
  std::unique_ptr<Session> required_session() const;
  // Inserts one point under a node; throws unless it was done.
  int32_t add_point(const std::string &node, const std::string &name, int32_t kind) const;

 private:
  void make();
  void await(const Names &wanted) const;
};

// 0, 1, 2, ... or the same shuffled, the same way each time.
std::vector<size_t> in_order(size_t n);
std::vector<size_t> shuffled(size_t n);
// Some of them from first to last, for a check that is not about many.
std::vector<size_t> some_of(size_t n);

}  // namespace kelpcheck
