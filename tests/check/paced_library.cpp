// A libkelpapi2 that is preloaded before the real one and is as fast, slow or careless as the
// variable KELP_PACE says:
//
//   rows:N         N rows a second over all processes, written to a file KELP_PACE_FILE
//   nothing        writes do nothing, at once
//   stall:S:EVERY  calls wait out the first S seconds of every EVERY seconds
//   lose:N         every Nth write is acknowledged and lost
//   refuse:N       every Nth write is refused
//   hang:N         the Nth write of a process does not return
//   slow:OP        that operation takes twice as long, by waiting
#include <dlfcn.h>
#include <fcntl.h>
#include <kelpapi2.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

constexpr int64_t kSecond = 1'000'000'000;

int64_t now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return int64_t{time.tv_sec} * kSecond + time.tv_nsec;
}

void wait_until(int64_t moment) {
  const timespec time{static_cast<time_t>(moment / kSecond), static_cast<long>(moment % kSecond)};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) != 0) {
  }
}

// Short waits are spent awake: a sleep takes longer than it is told.
void wait_for(int64_t nanoseconds) {
  constexpr int64_t shortest_sleep = 1'000'000;
  const int64_t end = now() + nanoseconds;
  if (nanoseconds > shortest_sleep) wait_until(end - shortest_sleep / 2);
  while (now() < end) {
  }
}

struct Pace {
  std::string word;
  double first = 0, second = 0;
  std::string operation;

  Pace() {
    const char *variable = std::getenv("KELP_PACE");
    const std::string text = variable == nullptr ? "" : variable;
    const size_t colon = text.find(':');
    word = text.substr(0, colon);
    if (colon == std::string::npos) return;
    operation = text.substr(colon + 1);
    char *rest = nullptr;
    first = std::strtod(operation.c_str(), &rest);
    if (*rest == ':') second = std::strtod(rest + 1, nullptr);
  }
  bool is(const char *name) const { return word == name; }
};

const Pace &pace() {
  static const Pace the_pace;
  return the_pace;
}

// When the bucket was empty or will be, in memory that all processes share.
std::atomic<int64_t> &bucket() {
  static std::atomic<int64_t> *const shared = [] {
    const char *path = std::getenv("KELP_PACE_FILE");
    const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(int64_t)) != 0) std::abort();
    void *memory = mmap(nullptr, sizeof(int64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) std::abort();
    return static_cast<std::atomic<int64_t> *>(memory);
  }();
  return *shared;
}

void take_tokens(int64_t rows) {
  constexpr int64_t depth = kSecond / 20;  // of tokens that it keeps while nobody takes any
  const auto time = static_cast<int64_t>(static_cast<double>(rows) * kSecond / pace().first);
  int64_t before = bucket().load(), after = 0;
  do {
    after = std::max(before, now() - depth) + time;
  } while (!bucket().compare_exchange_weak(before, after));
  wait_until(after);
}

void stall() {
  const int64_t cycle = static_cast<int64_t>(pace().second * kSecond);
  const int64_t into = now() % cycle;
  const auto length = static_cast<int64_t>(pace().first * kSecond);
  if (into < length) wait_until(now() + length - into);
}

// What every measured call does before the real one.
void be_slow(int64_t rows) {
  if (pace().is("rows")) take_tokens(rows);
  if (pace().is("stall")) stall();
}

enum class Fate { done, lost, refused };
Fate fate_of_write() {
  static int64_t writes = 0;
  const auto nth = static_cast<int64_t>(pace().first);
  ++writes;
  if (pace().is("nothing")) return Fate::lost;
  if (nth == 0) return Fate::done;
  if (pace().is("hang") && writes == nth) pause();
  if (pace().is("lose") && writes % nth == 0) return Fate::lost;
  if (pace().is("refuse") && writes % nth == 0) return Fate::refused;
  return Fate::done;
}

#define REAL(operation)                                                                        \
  [] {                                                                                         \
    static const auto real =                                                                   \
        reinterpret_cast<decltype(&kelp2_##operation)>(dlsym(RTLD_NEXT, "kelp2_" #operation)); \
    return real;                                                                               \
  }()

template <typename Call>
int32_t at_pace(const char *operation, int64_t rows, const Call &call) {
  be_slow(rows);
  const int64_t start = now();
  const int32_t result = call();
  if (pace().is("slow") && pace().operation == operation) wait_for(now() - start);
  return result;
}

template <typename Call>
int32_t write_at_pace(const char *operation, int64_t rows, int32_t *errors, int32_t entries,
                      const Call &call) {
  constexpr int32_t busy = -3;
  const Fate fate = fate_of_write();
  if (fate == Fate::done) return at_pace(operation, rows, call);
  be_slow(rows);
  std::memset(errors, 0, sizeof(int32_t) * static_cast<size_t>(entries));
  return fate == Fate::refused ? busy : 0;
}

}  // namespace

int32_t kelp2_write_value(ConnectionHandle connection, int32_t reserved, int32_t count,
                          const int32_t *ids, int32_t time, const int16_t *statuses,
                          const double *values, int32_t *errors) {
  return write_at_pace("write_value", count, errors, count, [&] {
    return REAL(write_value)(connection, reserved, count, ids, time, statuses, values, errors);
  });
}

int32_t kelp2_write_snap(ConnectionHandle connection, int32_t reserved, int32_t count,
                         const int32_t *ids, int32_t time, const int16_t *statuses,
                         const double *values, int32_t *errors) {
  return write_at_pace("write_snap", count, errors, count, [&] {
    return REAL(write_snap)(connection, reserved, count, ids, time, statuses, values, errors);
  });
}

int32_t kelp2_write_histroy_byid(ConnectionHandle connection, int32_t reserved, int32_t id,
                                 int32_t count, const int32_t *times, const int16_t *statuses,
                                 const double *values, int32_t *error) {
  return write_at_pace("write_histroy_byid", count, error, 1, [&] {
    return REAL(write_histroy_byid)(connection, reserved, id, count, times, statuses, values,
                                    error);
  });
}

int32_t kelp2_get_value_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                             int32_t *times, int16_t *statuses, double *values, int32_t *errors) {
  return at_pace("get_value_byid", count, [&] {
    return REAL(get_value_byid)(connection, count, ids, times, statuses, values, errors);
  });
}

int32_t kelp2_get_snap_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                            int32_t time, int16_t *statuses, double *values, int32_t *errors) {
  return at_pace("get_snap_byid", 0, [&] {
    return REAL(get_snap_byid)(connection, count, ids, time, statuses, values, errors);
  });
}

int32_t kelp2_write_cache(ConnectionHandle connection, int32_t reserved, int32_t count,
                          const int32_t *ids, const int32_t *times, const int16_t *statuses,
                          const double *values, int32_t *errors) {
  return at_pace("write_cache", 0, [&] {
    return REAL(write_cache)(connection, reserved, count, ids, times, statuses, values, errors);
  });
}

int32_t kelp2_get_object_byname(ConnectionHandle connection, GroupHandle group,
                                ObjectHandle *objects, int32_t *errors) {
  return at_pace("get_object_byname", 0,
                 [&] { return REAL(get_object_byname)(connection, group, objects, errors); });
}

int32_t kelp2_get_history_byid(ConnectionHandle connection, int32_t count, const int32_t *ids,
                               const int32_t *modes, int32_t begin, int32_t end, int32_t interval,
                               ResultHandle *results, int32_t *errors) {
  return at_pace("get_history_byid", 0, [&] {
    return REAL(get_history_byid)(connection, count, ids, modes, begin, end, interval, results,
                                  errors);
  });
}
