// A planted server is the bundled library with one thing changed. Here are the calls as its hooks
// see and change them, and the table of hooks. Operations by name resolve their names and go on as
// those by id, so that a hook finds ids and names in one place.
#pragma once

#include <kelpapi2.h>

#include <set>
#include <span>
#include <string>
#include <vector>

struct planted_row {
  int32_t time;
  int16_t status;
  double value;
};

struct kelp2_result {
  int32_t id;
  int32_t mode;
  std::vector<planted_row> rows;
  std::vector<StatValue> statistics;
  size_t next = 0;
  size_t size() const { return rows.size() + statistics.size(); }
};

namespace planted {

using Row = planted_row;

// One entry of a write or of a read of current values and snapshots.
struct Sample {
  int32_t id;
  int32_t time;
  int16_t status;
  double value;
  int32_t error = 0;
  bool lost = false;  // a write that does not reach the store; `error` is its entry
};

enum class Writer { kValue, kHistoryById, kHistoryByName, kCache, kCacheOne, kSnap };

struct Write {
  Writer by;
  ConnectionHandle connection;
  std::string name;  // of the point, where it was named
  std::vector<Sample> samples;
  int32_t result = 0;  // other than 0 before the store is reached: nothing is written
};

// Of current values or snapshots.
struct Read {
  ConnectionHandle connection;
  bool snap;
  int32_t time;                    // of a snapshot
  std::vector<std::string> names;  // empty where it was asked by id
  std::vector<int32_t> ids;
  std::vector<Sample> samples;
  int32_t result = 0;
};

struct Query {
  ConnectionHandle connection;
  std::vector<std::string> names;
  std::vector<int32_t> ids;
  std::vector<int32_t> modes;
  int32_t begin;
  int32_t end;
  int32_t interval;
  std::vector<ResultHandle> results;
  std::vector<int32_t> errors;
  int32_t result = 0;
};

// What is known of an object that is handed out.
struct ObjectInfo {
  std::string name;
  std::string parent;
  int32_t kind = 0;  // 0 where it was read
  bool node = false;
  bool database = false;
  std::set<std::string> fields_set;
};

struct Modify {
  ConnectionHandle connection;
  int32_t operation;
  std::string parent;
  std::vector<ObjectHandle> objects;
  std::vector<int32_t> errors;
  std::vector<bool> lost;  // do not reach the store; `errors` has their entries
  int32_t result = 0;
};

struct Lookup {
  ConnectionHandle connection;
  std::vector<std::string> names;
  std::vector<int32_t> ids;
  std::vector<ObjectHandle> objects;
  std::vector<int32_t> errors;
  int32_t result = 0;
};

struct Listing {
  ConnectionHandle connection;
  std::string parent;  // empty for databases
  std::vector<ObjectHandle> objects;
  int32_t result = 0;
};

struct Ids {
  ConnectionHandle connection;
  std::vector<std::string> names;
  std::vector<int32_t> ids;
  int32_t result = 0;
};

// Field codes and values of calendar times: year, month, day, hour, minute, second.
using Fields = int32_t[6];

// The hooks; a null one changes nothing. Those named in the past tense run after the store.
struct Server {
  const char *name;

  void (*write)(Write &) = nullptr;
  void (*written)(Write &) = nullptr;
  void (*read)(Read &) = nullptr;
  void (*was_read)(Read &) = nullptr;

  void (*query)(Query &) = nullptr;
  void (*queried)(Query &) = nullptr;
  void (*rows)(const Query &, size_t entry, std::vector<Row> &) = nullptr;
  void (*statistics)(const Query &, size_t entry, std::vector<StatValue> &) = nullptr;
  int32_t (*num_rows)(const kelp2_result &) = nullptr;
  int32_t (*fetched)(const kelp2_result &, int32_t code) = nullptr;

  void (*modify)(Modify &) = nullptr;
  void (*modified)(Modify &) = nullptr;
  void (*look_up)(Lookup &) = nullptr;
  void (*looked_up)(Lookup &) = nullptr;
  void (*list)(Listing &) = nullptr;
  void (*listed)(Listing &) = nullptr;
  void (*found_ids)(Ids &) = nullptr;
  std::string (*full_name)(const std::string &) = nullptr;
  bool (*name_allowed)(const std::string &) = nullptr;

  // False refuses the field.
  bool (*set_string)(ObjectInfo &, const std::string &field, std::string &) = nullptr;
  bool (*set_int)(ObjectInfo &, const std::string &field, int32_t &) = nullptr;
  bool (*set_double)(ObjectInfo &, const std::string &field, double &) = nullptr;
  void (*get_string)(const ObjectInfo &, const std::string &field, std::string &) = nullptr;
  void (*got_string)(char *buffer, int32_t size, const std::string &) = nullptr;
  void (*get_int)(const ObjectInfo &, const std::string &field, int32_t &) = nullptr;
  void (*get_double)(const ObjectInfo &, const std::string &field, double &) = nullptr;

  bool (*admit)(size_t sessions) = nullptr;  // whether one more session is made
  void (*opened)(ConnectionHandle) = nullptr;
  void (*status)(ConnectionHandle, int32_t &) = nullptr;
  void (*closed)(int32_t &) = nullptr;
  void (*system_time)(int32_t &) = nullptr;
  void (*encoded)(const Fields &, int32_t &time) = nullptr;
  void (*decoded)(int32_t time, Fields &) = nullptr;
};

// The one that KELP_PLANTED names; without it, the bundled library unchanged.
const Server &server();
std::vector<std::span<const Server>> all_servers();

// ---- What hooks use ----

ObjectInfo &info_of(ObjectHandle object);
// 1 for the first session of this process, and so on.
size_t session_number(ConnectionHandle connection);
size_t open_sessions();
std::vector<int32_t> ids_of(ConnectionHandle connection, std::span<const std::string> names);
bool is_point(ConnectionHandle connection, int32_t id);
// The rows that the store has, in order of time.
std::vector<Row> stored_rows(ConnectionHandle connection, int32_t id, int32_t begin, int32_t end);

// Keeps the rows of a write back until they are `milliseconds` old. Those of all processes are
// in the file KELP_PLANTED_STATE; each later call hands on what has become due.
void keep_back(Write &write, int milliseconds);
void settle(ConnectionHandle connection);

}  // namespace planted
