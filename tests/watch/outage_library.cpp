// A libkelpapi2 that is preloaded before the real one and does one thing, which the variable
// KELP_FAULT names: what an honest server may do in an outage, or what none may. All processes of a
// watch share what they know in the file KELP_STATE. Calls of kelp2_write_value are counted from 0
// over all of them.
#include <dlfcn.h>
#include <fcntl.h>
#include <kelpapi2.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int32_t kNotStored = -3, kSessionLost = -2, kNoSuchPoint = -4;

bool is(const char *fault) {
  static const char *const active = std::getenv("KELP_FAULT");
  return active != nullptr && std::string(fault) == active;
}

struct State {
  std::atomic<int32_t> calls;
  int32_t times[1000];            // of the calls
  std::atomic<int32_t> refusals;  // sessions that are still to be refused
  std::atomic<int32_t> reconnected;
  std::atomic<int32_t> writer_closed;
};

State &state() {
  static State *const shared = [] {
    const int file = open(std::getenv("KELP_STATE"), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(State)) != 0) std::abort();
    return static_cast<State *>(
        mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
  }();
  return *shared;
}

#define REAL(operation) \
  reinterpret_cast<decltype(&kelp2_##operation)>(dlsym(RTLD_NEXT, "kelp2_" #operation))

bool session_lost = false, has_written = false;

// One call of kelp2_write_value, as it reaches the server.
struct Call {
  std::vector<int32_t> ids;
  int32_t time;
  std::vector<int16_t> statuses;
  std::vector<double> values;

  int32_t store(ConnectionHandle session, int32_t *errors) const {
    return REAL(write_value)(session, 0, static_cast<int32_t>(ids.size()), ids.data(), time,
                             statuses.data(), values.data(), errors);
  }
  void drop(size_t first, size_t count) {
    const auto cut = [&](auto &list) {
      list.erase(list.begin() + static_cast<long>(first),
                 list.begin() + static_cast<long>(first + count));
    };
    cut(ids);
    cut(statuses);
    cut(values);
  }
};

void write_row(ConnectionHandle session, int32_t id, int32_t time, double value) {
  const int16_t status = 0;
  int32_t error = 0;
  REAL(write_histroy_byid)(session, 0, id, 1, &time, &status, &value, &error);
}

// What only ends or holds up the call: nothing that is stored depends on it.
int32_t disturb(int32_t number) {
  using namespace std::chrono_literals;
  if (is("hangs") && number == 3) pause();
  if (is("aborts") && number == 3) std::abort();
  if (is("ends the process") && number == 3) std::exit(0);
  if (is("slow") && number == 3) std::this_thread::sleep_for(2300ms);
  if (is("refuses many values") && number == 0) return kNotStored;
  if (is("fails, not stored") && (number == 3 || number == 4)) return kNotStored;
  const bool outage = is("refuses sessions") || is("last steps before an outage") ||
                      is("every step before an outage") || is("statuses gone after a reconnection");
  if (outage && number == (is("every step before an outage") ? 5 : 6)) {
    session_lost = true;
    state().refusals = 3;
    return kSessionLost;
  }
  return 0;
}

// Changes what is stored of a call.
void spoil(Call &call, int32_t number) {
  if (is("last steps before an outage") && (number == 4 || number == 5)) call.drop(0, 12);
  if (is("every step before an outage") && number < 5) call.drop(0, 12);
  if (is("acknowledged for nothing") && number == 4) call.drop(0, 12);
  if (is("five points lose a row") && number == 4) call.drop(2, 5);
  const bool some_fail = is("entries swallowed") || is("entries fail");
  if (some_fail && (number == 3 || number == 4)) call.drop(5, 2);
  if (is("rows a second late")) ++call.time;
  if (is("statuses gone after a reconnection") && state().reconnected) {
    std::fill(call.statuses.begin(), call.statuses.end(), int16_t{0});
  }
}

// What else happens to the rows that are there.
void meddle(ConnectionHandle session, const Call &call, int32_t number) {
  if (number != 6) return;
  if (is("a row changed later")) write_row(session, call.ids[0], state().times[3], 0.25);
  if (is("foreign rows")) {
    write_row(session, call.ids[0], state().times[0] - 3600, 1);
    write_row(session, call.ids[1], state().times[0] + 3600, 1);
  }
}

// Which rows cannot be seen any more: those of one step, or of all from one on.
struct Hidden {
  int32_t begin = 0, end = 0;
  bool holds(int32_t time) const { return time >= begin && time < end; }
  int32_t count(int32_t from, int32_t to) const {
    return std::max(0, std::min(end, to) - std::max(begin, from));
  }
};

Hidden hidden() {
  const State &now = state();
  const int32_t last = now.calls - 1;
  if (is("rows vanish later") && last >= 6) return {now.times[3], now.times[3] + 1};
  if (is("rows gone with their session") && now.writer_closed) {
    return {now.times[3], now.times[last] + 1};
  }
  if (is("no history")) return {now.times[0], INT32_MAX};
  return {};
}

struct Asked {
  int32_t begin, end;
};
std::map<ResultHandle, Asked> results;

}  // namespace

ConnectionHandle kelp2_init(int32_t option, const char *host, int32_t port, int32_t parameter,
                            const char *user, const char *password, const char *route,
                            int32_t size) {
  if (state().refusals > 0) {
    --state().refusals;
    return nullptr;
  }
  if (state().calls > 6) state().reconnected = 1;
  session_lost = false;
  return REAL(init)(option, host, port, parameter, user, password, route, size);
}

int32_t kelp2_status(ConnectionHandle session) { return session_lost ? 1 : REAL(status)(session); }

int32_t kelp2_close(ConnectionHandle session) {
  if (has_written) state().writer_closed = 1;
  return REAL(close)(session);
}

int32_t kelp2_write_value(ConnectionHandle session, int32_t, int32_t count, const int32_t *ids,
                          int32_t time, const int16_t *statuses, const double *values,
                          int32_t *errors) {
  const int32_t number = state().calls++;
  state().times[number] = time;
  has_written = true;
  Call call{{ids, ids + count}, time, {statuses, statuses + count}, {values, values + count}};
  if (const int32_t code = disturb(number); code != 0) return code;
  spoil(call, number);
  std::vector<int32_t> entries(static_cast<size_t>(count), 0);
  if (const int32_t code = call.store(session, entries.data()); code != 0) return code;
  std::fill_n(errors, count, 0);
  if (is("entries fail") && (number == 3 || number == 4)) errors[5] = errors[6] = kNoSuchPoint;
  meddle(session, call, number);
  return is("fails, stored") && (number == 3 || number == 4) ? kNotStored : 0;
}

int32_t kelp2_get_value_byid(ConnectionHandle session, int32_t count, const int32_t *ids,
                             int32_t *times, int16_t *statuses, double *values, int32_t *errors) {
  static std::vector<int32_t> old_times;
  static std::vector<int16_t> old_statuses;
  static std::vector<double> old_values;
  const int32_t code = REAL(get_value_byid)(session, count, ids, times, statuses, values, errors);
  if (!is("current values frozen")) return code;
  if (state().calls < 4) {
    old_times.assign(times, times + count);
    old_statuses.assign(statuses, statuses + count);
    old_values.assign(values, values + count);
  } else if (!old_times.empty()) {
    std::copy(old_times.begin(), old_times.end(), times);
    std::copy(old_statuses.begin(), old_statuses.end(), statuses);
    std::copy(old_values.begin(), old_values.end(), values);
  }
  return code;
}

// A server that is 300 ms late shows what it was given until then.
int32_t kelp2_get_history_byid(ConnectionHandle session, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *handles, int32_t *errors) {
  static const auto start = std::chrono::steady_clock::now();
  const bool late = is("300 ms late") &&
                    std::chrono::steady_clock::now() - start < std::chrono::milliseconds(300);
  if (late && state().calls > 2) end = std::min(end, state().times[state().calls - 2]);
  if (is("few rows a call") && int64_t{count} * (end - begin) > 20 && end - begin < 80'000) {
    return kNotStored;
  }
  const int32_t code = REAL(get_history_byid)(session, count, ids, modes, begin,
                                              std::max(begin, end), interval, handles, errors);
  for (int32_t i = 0; i < count; ++i) results[handles[i]] = {begin, end};
  return code;
}

int32_t kelp2_num_rows(ResultHandle result) {
  const Asked asked = results[result];
  const int32_t rows = REAL(num_rows)(result);
  return std::max(0, rows - hidden().count(asked.begin, asked.end));
}

int32_t kelp2_fetch_timed_value(ResultHandle result, int32_t *time, int16_t *status,
                                double *value) {
  int32_t code = 0;
  do {
    code = REAL(fetch_timed_value)(result, time, status, value);
  } while (code == 0 && hidden().holds(*time));
  return code;
}
