// Handles are numbers with a letter for their kind and point to nothing: the program must not look
// inside. Lists are real arrays, so that a use after their release is a memory error. Making groups
// and releasing things is not shown: a group is shown as its names where it is used, and a release
// only if it is wrong. The functions of the C library at the end take the place of its own.
#include "fake.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>
#include <thread>

namespace fake {

unsigned seed = 0;

namespace {

Script script;
std::time_t clock_time = kStartTime;
std::string operation;             // the one being called
std::map<std::string, int> calls;  // how many there were of each operation
std::map<char, int> made;          // how many handles of each kind
std::set<uintptr_t> live;
std::map<GroupHandle, std::vector<std::string>> names;

int size_of(GroupHandle group) { return static_cast<int>(names[group].size()); }
uintptr_t number(const void *handle) { return reinterpret_cast<uintptr_t>(handle); }
char kind(uintptr_t handle) { return static_cast<char>(handle >> 24); }

template <typename Handle>
Handle make(char letter) {
  const uintptr_t handle = (uintptr_t(letter) << 24) + uintptr_t(++made[letter]);
  live.insert(handle);
  return reinterpret_cast<Handle>(handle);
}

std::string text(const char *value) { return value; }
std::string text(const std::string &value) { return value; }

std::string text(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.10g", value);
  return buffer;
}

std::string text(const void *handle) {
  if (handle == nullptr) return "null";
  const std::string name = kind(number(handle)) + std::to_string(number(handle) & 0xffffff);
  return live.contains(number(handle)) ? name : "FAULT " + name + " is dead";
}

std::string joined(const std::vector<std::string> &words, const std::string &separator) {
  std::string all;
  for (const std::string &word : words) all += separator + word;
  return words.empty() ? all : all.substr(separator.size());
}

template <typename Value>
std::string list(const Value *values, int count) {
  std::vector<std::string> words;
  for (int i = 0; i < count; ++i) words.push_back(text(values[i]));
  return "[" + joined(words, ",") + "]";
}

template <typename... Lists>
std::string lists(int count, const Lists *...values) {
  return joined({list(values, count)...}, ", ");
}

std::string text(GroupHandle group) {
  if (!live.contains(number(group))) return text(static_cast<const void *>(group));
  return list(names[group].data(), size_of(group));
}

void show(const std::string &line) {
  const bool shown = script.shows_calls || line.find("FAULT") != line.npos;
  if (shown) std::puts(line.c_str());
}

// What the script says for this call, or else for every call of the operation.
template <typename Value>
Value scripted(const std::map<std::string, Value> &map, const Value &usual) {
  auto found = map.find(operation + "#" + std::to_string(calls[operation]));
  if (found == map.end()) found = map.find(operation);
  return found == map.end() ? usual : found->second;
}

int result(int usual = 0) { return scripted(script.results, usual); }

int entry(int position, int usual = 0) {
  const std::vector<int> entries = scripted(script.entries, {});
  return position < static_cast<int>(entries.size()) ? entries[position] : usual;
}

void put(int &output, int position) {
  if (entry(position) != kKept) output = entry(position);
}
void put(int16_t &output, int /*position*/) { output = -1; }
void put(double &output, int position) { output = script.value + position; }
void put(ObjectHandle &output, int position) {
  output = entry(position) == 0 ? make<ObjectHandle>('o') : nullptr;
}
void put(ResultHandle &output, int position) {
  output = entry(position) == 0 ? make<ResultHandle>('r') : nullptr;
}

template <typename Output>
void fill(int count, Output *outputs) {
  for (int i = 0; i < count; ++i) put(outputs[i], i);
}

// Shows a call and what it is given; returns its result.
template <typename... Inputs>
int call(const char *name, const Inputs &...inputs) {
  operation = name;
  ++calls[operation];
  std::this_thread::sleep_for(std::chrono::milliseconds(script.call_ms));
  show("call " + operation + "(" + joined({text(inputs)...}, ", ") + ")");
  return result();
}

// Fills the arrays that the call writes; returns its result.
template <typename... Outputs>
int answer(int count, Outputs *...outputs) {
  (fill(count, outputs), ...);
  return result();
}

// A list ends in a null, which shows whether it is released with its size.
int answer_list(int usual_count, int *count, ObjectHandle **list) {
  if (result() != 0) return result();
  *count = scripted(script.listed, usual_count);
  if (*count > 0) {
    *list = new ObjectHandle[*count + 1]{};
    std::generate_n(*list, *count, [] { return make<ObjectHandle>('o'); });
  }
  return 0;
}

int release(const void *handle) {
  const bool known = handle == nullptr || live.erase(number(handle)) > 0;
  if (!known) show("FAULT release of " + text(handle));
  return 0;
}

void report_leaks() {
  for (const uintptr_t handle : live) {
    if (kind(handle) != 'c') show(std::string("FAULT not released: ") + kind(handle));
  }
}

}  // namespace

ConnectionHandle open_connection() { return make<ConnectionHandle>('c'); }

std::string play(const Script &played, const std::function<void()> &body) {
  std::FILE *output = std::tmpfile();
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(output), STDOUT_FILENO);
    alarm(60);
    script = played;
    [&]() noexcept { body(); }();  // an exception must not reach the tests in this process
    report_leaks();
    std::puts("returned");
    std::exit(0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "the process failed";
  std::string text;
  std::rewind(output);
  for (int c = std::getc(output); c != EOF; c = std::getc(output)) text += static_cast<char>(c);
  std::fclose(output);
  return text;
}

}  // namespace fake

using namespace fake;

// The library's types, by what the parameters are; c is always the connection.
using Connection = ConnectionHandle;
using Group = GroupHandle;
using Object = ObjectHandle;
using Result = ResultHandle;
using Text = const char *;
using Ids = const int *;
using Times = const int *;
using Statuses = const int16_t *;
using Values = const double *;

Connection kelp2_init(int option, Text host, int port, int parameter, Text user, Text password,
                      Text route, int size) {
  const int failure = call("init", option, host, port, parameter, user, password, route, size);
  return failure == 0 ? open_connection() : nullptr;
}
int kelp2_status(Connection c) { return call("status", c) + (c == nullptr ? 1 : 0); }
int kelp2_close(Connection c) {
  call("close", c);
  return release(c);
}
int kelp2_get_system_time(Connection c, int *time) {
  *time = 1362657600;
  return call("get_system_time", c);
}
int kelp2_encode_time(int year, int month, int day, int hour, int minute, int second) {
  call("encode_time", year, month, day, hour, minute, second);
  return 1000 * calls[operation];
}
int kelp2_decode_time(int time, int *year, int *month, int *day, int *hour, int *minute,
                      int *second) {
  call("decode_time", time);
  const int usual[] = {2013, 2, 6, 1, 0, 0};
  int *const fields[] = {year, month, day, hour, minute, second};
  for (int i = 0; i < 6; ++i) *fields[i] = entry(i, usual[i]);
  return 0;
}
int kelp2_get_database(Connection c, int *count, Object **list) {
  call("get_database", c);
  return answer_list(static_cast<int>(script.databases.size()), count, list);
}
int kelp2_free_list(int count, Object *list) {
  if (list[count] != nullptr) show("FAULT a list is released with a wrong size");
  for (int i = 0; i < count; ++i) release(list[i]);
  delete[] list;
  return 0;
}

Group kelp2_new_group() { return make<Group>('g'); }
int kelp2_add_group_point(Group group, Text full_name) {
  names[group].push_back(full_name);
  return 0;
}
int kelp2_free_group(Group group) { return release(group); }

Object kelp2_new_object(Connection c, Text name, int kind) {
  return call("new_object", c, name, kind) == 0 ? make<Object>('o') : nullptr;
}
int kelp2_object_set_string(Object object, Text field, Text value) {
  return call("object_set_string", object, field, value);
}
int kelp2_object_set_int(Object object, Text field, int value) {
  return call("object_set_int", object, field, value);
}
int kelp2_object_set_double(Object object, Text field, double value) {
  return call("object_set_double", object, field, value);
}
int kelp2_object_get_string(Object object, Text field, char *buffer, int size) {
  if (call("object_get_string", object, field, size) != 0) return result();
  const bool name = field == std::string("PN");
  const std::string value = name ? script.databases.at(calls[operation] - 1) : script.description;
  std::snprintf(buffer, size, "%s", value.c_str());
  return 0;
}
int kelp2_object_get_int(Object object, Text field) {
  call("object_get_int", object, field);
  return calls[operation];
}
double kelp2_object_get_double(Object object, Text field) {
  call("object_get_double", object, field);
  return script.value;
}
int kelp2_modify_object(Connection c, int what, Text parent, int count, Object *objects,
                        int *errors) {
  call("modify_object", c, what, parent, count, list(objects, count));
  fill(count, errors);
  return result(count);
}
int kelp2_get_object_byid(Connection c, int count, Ids ids, Object *objects, int *errors) {
  call("get_object_byid", c, count, list(ids, count));
  return answer(count, objects, errors);
}
int kelp2_get_object_byname(Connection c, Group group, Object *objects, int *errors) {
  call("get_object_byname", c, group);
  return answer(size_of(group), objects, errors);
}
int kelp2_get_child(Connection c, Text name, int *count, Object **list) {
  call("get_child", c, name);
  return answer_list(0, count, list);
}
int kelp2_get_id_byname(Connection c, Group group, int *ids) {
  call("get_id_byname", c, group);
  for (int i = 0; i < size_of(group); ++i) ids[i] = entry(i, 11 + i);
  return result();
}
int kelp2_free_object(Object object) { return release(object); }

int kelp2_write_value(Connection c, int zero, int count, Ids ids, int time, Statuses statuses,
                      Values values, int *errors) {
  call("write_value", c, zero, count, list(ids, count), time, lists(count, statuses, values));
  return answer(count, errors);
}
int kelp2_get_value_byid(Connection c, int count, Ids ids, int *times, int16_t *statuses,
                         double *values, int *errors) {
  call("get_value_byid", c, count, list(ids, count));
  return answer(count, times, statuses, values, errors);
}
int kelp2_get_value_byname(Connection c, Group group, int *times, int16_t *statuses, double *values,
                           int *errors) {
  call("get_value_byname", c, group);
  return answer(size_of(group), times, statuses, values, errors);
}

int kelp2_write_histroy_byid(Connection c, int zero, int id, int count, Times times,
                             Statuses statuses, Values values, int *error) {
  call("write_histroy_byid", c, zero, id, count, lists(count, times, statuses, values));
  return answer(1, error);
}
int kelp2_write_histroy_byname(Connection c, int zero, Text name, int count, Times times,
                               Statuses statuses, Values values, int *error) {
  call("write_histroy_byname", c, zero, name, count, lists(count, times, statuses, values));
  return answer(1, error);
}
int kelp2_get_history_byid(Connection c, int count, Ids ids, const int *modes, int begin, int end,
                           int step, Result *results, int *errors) {
  call("get_history_byid", c, count, lists(count, ids, modes), begin, end, step);
  return answer(count, results, errors);
}
int kelp2_get_history_byname(Connection c, Group group, const int *modes, int begin, int end,
                             int step, Result *results, int *errors) {
  call("get_history_byname", c, group, list(modes, size_of(group)), begin, end, step);
  return answer(size_of(group), results, errors);
}
int kelp2_num_rows(Result rows) {
  call("num_rows", rows);
  return rows == nullptr ? 0 : result(1);
}
int kelp2_fetch_timed_value(Result rows, int *time, int16_t *status, double *value) {
  if (call("fetch_timed_value", rows) != 0) return result();
  *time = 1000 + calls[operation];
  *status = -1;
  *value = script.value;
  return 0;
}
int kelp2_fetch_stat_value(Result rows, StatValue *row) {
  const double value = script.value;
  *row = {1, -1, value, value + 1, value + 2, 2, 3, value + 3, value + 4, value + 5};
  return call("fetch_stat_value", rows);
}
int kelp2_free_result(Result rows) { return release(rows); }

int kelp2_write_cache(Connection c, int zero, int count, Ids ids, Times times, Statuses statuses,
                      Values values, int *errors) {
  call("write_cache", c, zero, count, lists(count, ids, times, statuses, values));
  return answer(count, errors);
}
int kelp2_write_cache_one(Connection c, int zero, int id, int count, Times times, Statuses statuses,
                          Values values, int *error) {
  call("write_cache_one", c, zero, id, count, lists(count, times, statuses, values));
  return answer(1, error);
}
int kelp2_write_snap(Connection c, int zero, int count, Ids ids, int time, Statuses statuses,
                     Values values, int *errors) {
  call("write_snap", c, zero, count, list(ids, count), time, lists(count, statuses, values));
  return answer(count, errors);
}
int kelp2_get_snap_byid(Connection c, int count, Ids ids, int time, int16_t *statuses,
                        double *values, int *errors) {
  call("get_snap_byid", c, count, list(ids, count), time);
  return answer(count, statuses, values, errors);
}
int kelp2_get_snap_byname(Connection c, Group group, int time, int16_t *statuses, double *values,
                          int *errors) {
  call("get_snap_byname", c, group, time);
  return answer(size_of(group), statuses, values, errors);
}

extern "C" {
std::time_t time(std::time_t *) noexcept { return clock_time; }
void srand(unsigned value) noexcept { seed = value; }
int rand() noexcept {
  static int draw = -1;
  ++draw;
  return 32768 * (draw % 3) + 1000 * draw;
}
unsigned sleep(unsigned seconds) {
  show("call sleep(" + std::to_string(seconds) + ")");
  clock_time += seconds + 1;
  if (--script.sleeps > 0) return 0;
  report_leaks();
  std::exit(0);
}
}
