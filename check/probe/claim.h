// Who uses a prefix: only one run at a time may, from whatever host. The node PREFIX00 is there
// while a run is, and its field ED names host and process, with a count that a child of the run
// renews, so that a run that ended without cleaning up can be distinguished from one that works.
#pragma once

#include <optional>

#include "probe/prefix.h"

namespace kelpcheck {

// Why a run may not start; nothing has been changed.
struct Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Holder {
  std::string host;                // its name
  std::string machine;             // this boot of it, and the process ids' namespace
  int64_t process = 0, ticks = 0;  // and when it started, in the kernel's unit since then
  int64_t started = 0;             // time(2)
  int64_t count = 0;               // of renewals
  int32_t last_node = 0;           // the highest number that the run gives to a node

  static Holder of_this_process(int32_t last_node);
  std::string field() const;
  // "host moby, process 4711, since 2026-11-23 17:02:05 UTC"
  std::string words() const;
  bool same_process(const Holder &other) const;
  // Whether the process runs; nothing if this host cannot tell.
  std::optional<bool> runs() const;
};
std::optional<Holder> holder_of(const std::string &field);

// The field ED of the node with this full name; nothing where there is none.
std::optional<std::string> description_of(const Session &session, const std::string &node);
// That of PREFIX00.
std::optional<std::string> claim_field(Context &c, const Session &session);

// Looks whether a run works under the prefix, which takes six seconds where only the count can
// tell; throws Refused if one does. Otherwise whatever is there is a leftover.
void require_free(Context &c, const Session &session);
// Whether this node, with its full name, belongs to a watch, whose tree is evidence; throws Refused
// if so.
void require_no_watch(Context &c, const Session &session, const std::string &node);

// Makes PREFIX00. Throws Refused if another run was faster; a server that cannot keep the field
// gives no protection, and is for others to judge.
void take_claim(Context &c, const Session &session, const Holder &holder);

// Renews the claim every two seconds through sessions of its own until the node is gone. For a
// child process, which is killed when the run ends.
void keep_claim(Context &c, const Holder &holder);

}  // namespace kelpcheck
