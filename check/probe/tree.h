// Which part of the run's tree a family of checks has. Its nodes are named PREFIX01, PREFIX02, ...
// through the families.
#pragma once

namespace kelpcheck {

enum class Tree {
  none,
  made,  // nodes of its own
  found  // those of the family before it
};

}  // namespace kelpcheck
