// Plays sequences in children, one after the other, until one shows a difference, hangs or ends its
// process; then makes it small, each try in a child of its own and on nodes that are not in use.
// The process that calls this must not have a session of its own: children are forked from it.
#pragma once

#include "explore/generator.h"
#include "explore/player.h"

namespace kelpcheck::explore {

struct SearchOptions {
  ServerOptions server;
  Material material;
  Ground ground;
  std::vector<Place> places;  // used in turn
  double seconds = 5;         // for as long
  int64_t calls = 0;          // or until there were so many; 0 for any number
  double shrink_seconds = 9;  // for making a difference small
  double longest_wait = 0;    // seconds, that this server has made others wait
};

struct Found {
  uint64_t number;    // of the sequence
  size_t calls;       // that it had
  Sequence sequence;  // as small as it became; its last call is the one
  Place place;
  Finding finding;
  bool again = false;  // it came back when the sequence was played once more
};

struct SearchResult {
  int64_t sequences = 0, calls = 0, compared = 0;
  double longest_wait = 0;  // seconds
  std::optional<Found> found;
};

// `progress` is told of the seconds that went by.
SearchResult search(const SearchOptions &options, const std::function<void(double)> &progress);

}  // namespace kelpcheck::explore
