// Handles are numbers with a letter for their kind and point to nothing: the program must not look
// inside. Lists are real arrays, so that a use after their release is a memory error. What a call
// writes follows from the types of its arguments: a pointer to something not const is an output.
// The functions of the C library at the end take the place of its own.
#include "fake.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>

namespace fake {

unsigned seed = 0;

namespace {

Script script;
std::time_t clock_time = start_time;

using C = ConnectionHandle;
using G = GroupHandle;
using O = ObjectHandle;
using R = ResultHandle;
using I = int32_t;
using S = int16_t;
using D = double;
using Text = const char *;

std::string operation;  // the one being called
std::map<std::string, int> calls;
std::map<char, int> made;
std::set<uintptr_t> live;
std::map<G, I> size_of;

template <typename T, typename... Ts>
constexpr bool is_one_of = (std::is_same_v<T, Ts> || ...);
template <typename T>
constexpr bool is_output = is_one_of<T, I *, S *, D *, O *, O **, R *, char *, StatValue *>;

uintptr_t number(const void *handle) { return reinterpret_cast<uintptr_t>(handle); }

template <typename T>
std::string text(T value, [[maybe_unused]] I size) {
  if constexpr (is_one_of<T, Text>) {
    return value;
  } else if constexpr (is_one_of<T, C, G, O, R>) {
    const uintptr_t handle = number(value);
    if (handle == 0) return "null";
    const std::string name = char(handle >> 24) + std::to_string(handle & 0xffffff);
    return live.contains(handle) ? name : "FAULT " + name + " is dead";
  } else if constexpr (std::is_pointer_v<T>) {
    std::string line;
    for (I i = 0; i < size; ++i) line += (i > 0 ? "," : "") + text(value[i], 1);
    return "[" + line + "]";
  } else {
    char buffer[32];
    snprintf(buffer, sizeof buffer, "%.10g", D(value));
    return buffer;
  }
}

// What the script says for this call, or else for every call of the operation.
template <typename T>
const T *scripted(const std::map<std::string, T> &map, const std::string &key) {
  auto found = map.find(key + "#" + std::to_string(calls[operation]));
  if (found == map.end()) found = map.find(key);
  return found == map.end() ? nullptr : &found->second;
}

I answer(I usual = 0, const std::string &key = operation) {
  const I *result = scripted(script.results, key);
  return result == nullptr ? usual : *result;
}

I entry(I position, I usual = 0) {
  const auto *codes = scripted(script.entries, operation);
  return codes != nullptr && position < I(codes->size()) ? (*codes)[position] : usual;
}

template <typename Handle>
Handle make(char kind) {
  const uintptr_t handle = uintptr_t(kind) << 24 | uintptr_t(++made[kind]);
  live.insert(handle);
  return reinterpret_cast<Handle>(handle);
}

I release(I result, const void *handle) { return live.erase(number(handle)), result; }

template <typename T>
void write([[maybe_unused]] T output, I size) {
  for (I i = 0; i < size; ++i) {
    if constexpr (is_one_of<T, I *>) output[i] = entry(i) == kept ? output[i] : entry(i);
    if constexpr (is_one_of<T, S *>) output[i] = -1;
    if constexpr (is_one_of<T, D *>) output[i] = script.value + i;
    if constexpr (is_one_of<T, O *>) output[i] = entry(i) == 0 ? make<O>('o') : nullptr;
    if constexpr (is_one_of<T, R *>) output[i] = entry(i) == 0 ? make<R>('r') : nullptr;
  }
}

// One call, whose input arrays have `size` entries and whose outputs have `outputs`.
template <typename... Values>
I call(Text called, [[maybe_unused]] I size, [[maybe_unused]] I outputs, Values... values) {
  ++calls[operation = called];
  std::string line;
  [[maybe_unused]] const auto add = [&](auto value) {
    if constexpr (!is_output<decltype(value)>)
      line += (line.empty() ? "" : ", ") + text(value, size);
  };
  (add(values), ...);
  const bool shown = script.shows_calls || line.find("FAULT") != line.npos;
  if (shown) printf(">%s(%s)\n", called, line.c_str());
  (write(values, outputs), ...);
  return answer();
}
#define CALL(...) call(__func__ + sizeof "kelp2", __VA_ARGS__)

// A list ends in a null, which shows whether it is released with its size.
I make_list(I size, I *count, O **list) {
  if (answer() != 0) return answer();
  *count = size;
  if (size > 0) std::generate_n(*list = new O[size + 1]{}, size, [] { return make<O>('o'); });
  return 0;
}

void report_leaks() {
  for (const uintptr_t handle : live) {
    if (handle >> 24 != 'c') printf(">FAULT %c is not released\n", char(handle >> 24));
  }
}

}  // namespace

ConnectionHandle open_connection() { return make<C>('c'); }

std::string play(const Script &played, const std::function<void()> &body) {
  std::FILE *output = std::tmpfile();
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(output), STDOUT_FILENO);
    alarm(60);
    script = played;
    body();
    report_leaks();
    std::puts(">returned");
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

C kelp2_init(I option, Text host, I port, I parameter, Text user, Text password, Text route,
             I size) {
  const I result = CALL(0, 0, option, host, port, parameter, user, password, route, size);
  return result == 0 ? make<C>('c') : nullptr;
}
I kelp2_status(C c) { return CALL(0, 0, c) + (c == nullptr ? 1 : 0); }
I kelp2_close(C c) { return release(CALL(0, 0, c), c); }
I kelp2_get_system_time(C c, I *time) {
  *time = 1362657600;
  return CALL(0, 0, c, time);
}
I kelp2_encode_time(I year, I month, I day, I hour, I minute, I second) {
  return CALL(0, 0, year, month, day, hour, minute, second), answer(1000 * calls[operation]);
}
I kelp2_decode_time(I time, I *year, I *month, I *day, I *hour, I *minute, I *second) {
  constexpr I usual[] = {2013, 2, 6, 1, 0, 0};
  I *const fields[] = {year, month, day, hour, minute, second};
  const I result = CALL(0, 0, time);
  for (I i = 0; i < 6; ++i) *fields[i] = entry(i, usual[i]);
  return result;
}
I kelp2_get_database(C c, I *count, O **list) {
  return CALL(0, 0, c), make_list(answer(I(script.databases.size()), "databases"), count, list);
}
I kelp2_free_list(I count, O *list) {
  const I result =
      CALL(count, 0, list[count] == nullptr ? count : -1, static_cast<const O *>(list));
  for (I i = 0; i < count; ++i) release(0, list[i]);
  delete[] list;
  return result;
}

G kelp2_new_group() { return CALL(0, 0) == 0 ? make<G>('g') : nullptr; }
I kelp2_add_group_point(G g, Text full_name) { return ++size_of[g], CALL(0, 0, g, full_name); }
I kelp2_free_group(G g) { return release(CALL(0, 0, g), g); }
O kelp2_new_object(C c, Text name, I kind) {
  return CALL(0, 0, c, name, kind) == 0 ? make<O>('o') : nullptr;
}
I kelp2_object_set_string(O o, Text field, Text value) { return CALL(0, 0, o, field, value); }
I kelp2_object_set_int(O o, Text field, I value) { return CALL(0, 0, o, field, value); }
I kelp2_object_set_double(O o, Text field, D value) { return CALL(0, 0, o, field, value); }
I kelp2_object_get_string(O o, Text field, char *buffer, I size) {
  if (CALL(0, 0, o, field, buffer, size) != 0) return answer();
  const bool name = field == std::string("PN");
  const auto &value = name ? script.databases.at(calls[operation] - 1) : script.description;
  return snprintf(buffer, size, "%s", value.c_str()), 0;
}
I kelp2_object_get_int(O o, Text field) { return CALL(0, 0, o, field) + calls[operation]; }
D kelp2_object_get_double(O o, Text field) { return CALL(0, 0, o, field) + script.value; }
I kelp2_modify_object(C c, I what, Text parent, I n, O *objects, I *errors) {
  return CALL(n, n, c, what, parent, n, static_cast<const O *>(objects), errors), answer(n);
}
I kelp2_get_object_byid(C c, I n, const I *ids, O *objects, I *errors) {
  return CALL(n, n, c, n, ids, objects, errors);
}
I kelp2_get_object_byname(C c, G g, O *objects, I *errors) {
  return CALL(0, size_of[g], c, g, objects, errors);
}
I kelp2_get_child(C c, Text name, I *count, O **list) {
  return CALL(0, 0, c, name), make_list(answer(0, "children"), count, list);
}
I kelp2_get_id_byname(C c, G g, I *ids) {
  const I result = CALL(0, 0, c, g);
  for (I i = 0; i < size_of[g]; ++i) ids[i] = entry(i, 11 + i);
  return result;
}
I kelp2_free_object(O o) { return release(CALL(0, 0, o), o); }

I kelp2_write_value(C c, I zero, I n, const I *ids, I t, const S *s, const D *v, I *errors) {
  return CALL(n, n, c, zero, n, ids, t, s, v, errors);
}
I kelp2_get_value_byid(C c, I n, const I *ids, I *t, S *s, D *v, I *errors) {
  return CALL(n, n, c, n, ids, t, s, v, errors);
}
I kelp2_get_value_byname(C c, G g, I *t, S *s, D *v, I *errors) {
  return CALL(0, size_of[g], c, g, t, s, v, errors);
}
I kelp2_write_histroy_byid(C c, I zero, I id, I n, const I *t, const S *s, const D *v, I *error) {
  return CALL(n, 1, c, zero, id, n, t, s, v, error);
}
I kelp2_write_histroy_byname(C c, I zero, Text name, I n, const I *t, const S *s, const D *v,
                             I *error) {
  return CALL(n, 1, c, zero, name, n, t, s, v, error);
}
I kelp2_get_history_byid(C c, I n, const I *ids, const I *modes, I begin, I end, I step, R *r,
                         I *errors) {
  return CALL(n, n, c, n, ids, modes, begin, end, step, r, errors);
}
I kelp2_get_history_byname(C c, G g, const I *modes, I begin, I end, I step, R *r, I *errors) {
  return CALL(size_of[g], size_of[g], c, g, modes, begin, end, step, r, errors);
}
I kelp2_num_rows(R r) { return CALL(0, 0, r), r == nullptr ? 0 : answer(1); }
I kelp2_fetch_timed_value(R r, I *time, S *status, D *value) {
  if (CALL(0, 0, r) != 0) return answer();
  *time = 1000 + calls[operation];
  *status = -1;
  *value = script.value;
  return 0;
}
I kelp2_fetch_stat_value(R r, StatValue *row) {
  const D v = script.value;
  *row = {1, -1, v, v + 1, v + 2, 2, 3, v + 3, v + 4, v + 5};
  return CALL(0, 0, r, row);
}
I kelp2_free_result(R r) { return release(CALL(0, 0, r), r); }

I kelp2_write_cache(C c, I zero, I n, const I *ids, const I *t, const S *s, const D *v, I *errors) {
  return CALL(n, n, c, zero, n, ids, t, s, v, errors);
}
I kelp2_write_cache_one(C c, I zero, I id, I n, const I *t, const S *s, const D *v, I *error) {
  return CALL(n, 1, c, zero, id, n, t, s, v, error);
}
I kelp2_write_snap(C c, I zero, I n, const I *ids, I t, const S *s, const D *v, I *errors) {
  return CALL(n, n, c, zero, n, ids, t, s, v, errors);
}
I kelp2_get_snap_byid(C c, I n, const I *ids, I t, S *s, D *v, I *errors) {
  return CALL(n, n, c, n, ids, t, s, v, errors);
}
I kelp2_get_snap_byname(C c, G g, I t, S *s, D *v, I *errors) {
  return CALL(0, size_of[g], c, g, t, s, v, errors);
}

extern "C" {
std::time_t time(std::time_t *) noexcept { return clock_time; }
void srand(unsigned value) noexcept { seed = value; }
int rand() noexcept {
  static int draw = -1;
  return ++draw, 32768 * (draw % 3) + 1000 * draw;
}
unsigned sleep(unsigned seconds) {
  std::printf(">sleep(%u)\n", seconds);
  clock_time += seconds + 1;
  if (--script.sleeps > 0) return 0;
  report_leaks();
  std::exit(0);
}
}
