// Which part of the run's tree a family of checks has. Nodes are numbered PREFIX01, PREFIX02, ...
// over all families.
#pragma once

namespace kelpcheck {

enum class Tree {
  none,
  made,     // nodes of its own
  few,      // one node of its own, with the same few points whatever the run's extent is
  found,    // those of the family before it
  reserved  // names only, of nodes that its checks make
};

inline constexpr int kReservedNodes = 40;

}  // namespace kelpcheck
