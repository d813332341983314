// What the watch asks its children, and what they answer: one line of JSON each.
#pragma once

#include "watch/observation.h"

namespace kelpcheck::watch {

struct Request {
  enum What : int {
    connect,  // a new session; the one before is closed
    look,     // what there is of the tree
    make,     // makes what is missing of the tree
    mark,     // writes the first step into the nodes
    write,    // a step
    current,  // reads the current values of all points
    history,  // reads `points` from `begin` to before `end`
    remove    // the tree, as far as it is this watch's
  };
  What what = connect;
  int64_t first = 0;  // the time of step 0, where it is known
  int64_t step = 0;
  Ranges points;
  int64_t begin = 0, end = 0;
};

// What there is of the tree: none, another watch's or anybody's, or this one's.
enum class TreeState : int { missing, foreign, ours };

struct Reply {
  bool done = false;
  std::string code;              // why not: what a call gave, or words
  bool lost = false;             // the session does not work any more
  int64_t began = 0, ended = 0;  // nanoseconds of the clock that only goes forward
  int64_t server_time = 0;       // between them
  Ranges points;                 // a write's: those that failed; a look's: those that are not there
  TreeState tree = TreeState::missing;
  CurrentValues current;
  Observation observation;
};

std::string to_json(const Request &request);
std::string to_json(const Reply &reply);
Request parse_request(const std::string &text);
Reply parse_reply(const std::string &text);

}  // namespace kelpcheck::watch
