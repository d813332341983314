// The nodes under a prefix: PREFIX00, which says whose they are, and PREFIX01, PREFIX02, ... They
// are all that a run touches. Nodes cannot be listed, so they are looked up by their names.
#pragma once

#include <functional>

#include "probe/session.h"

namespace kelpcheck {

inline constexpr size_t kObjectsPerCall = 1000;  // made or removed in a call

class Prefix {
 public:
  Prefix(Context &c, const Session &session) : c_(c), session_(session) {}

  std::string own_name(int32_t number) const { return numbered(c_.server.prefix, 2, number); }
  std::string full_name(int32_t number) const;
  // The full names of those that there are, in the order of their numbers: up to `last`, and then
  // until a hundred in a row are missing. Throws CallFailed when the session is lost.
  Names nodes_from(int32_t first, int32_t last) const;
  // Removes these nodes and their points, from the last one to the first, so that what a removal
  // that was cut short has left is found again. Gives what went wrong; empty if nothing did.
  std::string remove(const Names &nodes,
                     const std::function<void(size_t done, size_t all)> &progress) const;
  void remove(const std::string &node) const;

 private:
  void find(const Names &names, size_t first, size_t last, std::vector<bool> &there) const;

  Context &c_;
  const Session &session_;
};

}  // namespace kelpcheck
