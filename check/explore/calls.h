// A sequence of calls as plain data: what is generated, played, judged by the model, made small and
// written down. Points are named; which id belongs to a name is found out when a call is played, so
// that no write ever uses an invented id.
#pragma once

#include <kelpapi2.h>

#include <cstdint>
#include <string>
#include <vector>

#include "result/operations.h"

namespace kelpcheck::explore {

inline constexpr int kNodes = 2;          // of a sequence
inline constexpr int kDatabase = kNodes;  // the parent of nodes

// The names of a sequence's nodes differ with every time that it is played.
struct Place {
  std::string database;
  std::string nodes[kNodes];
};

// A point or a node of the sequence, whether it is there or not, or nothing of the kind.
struct Target {
  enum Sort {
    own,
    former,     // by id: the one that the point had before it was deleted
    stranger,   // reads by id: one that was never given to us, and may be somebody's
    elsewhere,  // reads by name: the same name with another database in it
    bare        // and with none
  };
  Sort sort = own;
  int node = 0;
  std::string name = {};  // own name of a point, empty for the node
  int32_t id = 0;         // of a stranger

  bool is_node() const { return name.empty(); }
  bool operator==(const Target &) const = default;
};

// A field to set: text for ED, else a number.
struct Field {
  std::string code;
  std::string text = {};
  double number = 0;
};

// One entry of the arrays of a call. Which members count depends on the operation.
struct Entry {
  Target who = {};
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
  int32_t mode = HistoryTimed;
  int32_t kind = AX;
  std::vector<Field> fields = {};
};

// How objects are read before they are updated or deleted.
enum class Via { name, id, list };

// One call with what has to be done around it: a group made, objects made or read, rows fetched,
// all released. kelp2_init stands for closing a session and opening it again.
struct Call {
  Op op = Op::status;
  int session = 0;  // 0 or 1
  // Of kelp2_modify_object:
  ModifyOperation change = Insert;
  Via via = Via::name;
  int node = 0;      // the parent; also the node that is listed
  Target who = {};   // where the entries are rows of one point
  int32_t time = 0;  // where it is one for all entries
  int32_t begin = 0, end = 0, interval = 0;
  std::vector<Entry> entries = {};
};

using Sequence = std::vector<Call>;

bool by_name(Op op);
bool writes(const Call &call);
// Whether the entries are rows of the one point `who`.
bool rows_of_one(Op op);
// Whether each entry has a time of its own, a status and a value.
bool has_times(Op op);
bool has_values(Op op);
bool reads_snapshots(Op op);

std::string node_name(const Place &place, int node);
// Without its parents.
std::string own_name(const Place &place, const Target &target);
std::string full_name(const Place &place, const Target &target);

// "AX", "KindNode"
const char *name_of_kind(int32_t kind);

// The call as a line of C with its arrays written in place.
std::string line_of(const Call &call, const Place &place);

}  // namespace kelpcheck::explore
