// The 40 operations as a list, and the timed call that everything here goes through. Before a call
// its operation is noted in memory shared with the supervisor, so that a call that hangs or ends
// the process is known by name, and what was measured outlives the process.
#pragma once

#include <kelpapi2.h>

#include <cstdint>
#include <iterator>

#include "figures.h"

namespace kelpcheck {

#define KELPCHECK_OPERATIONS(X)                                                                    \
  X(init)                                                                                          \
  X(status)                                                                                        \
  X(close)                                                                                         \
  X(get_system_time)                                                                               \
  X(encode_time) X(decode_time) X(get_database) X(free_list) X(new_group) X(add_group_point)       \
      X(free_group) X(new_object) X(object_set_string) X(object_set_int) X(object_set_double)      \
          X(object_get_string) X(object_get_int) X(object_get_double) X(modify_object)             \
              X(get_object_byid) X(get_object_byname) X(get_child) X(get_id_byname) X(free_object) \
                  X(write_value) X(get_value_byid) X(get_value_byname) X(write_histroy_byid)       \
                      X(write_histroy_byname) X(get_history_byid) X(get_history_byname)            \
                          X(num_rows) X(fetch_timed_value) X(fetch_stat_value) X(free_result)      \
                              X(write_cache) X(write_cache_one) X(write_snap) X(get_snap_byid)     \
                                  X(get_snap_byname)

enum class Op : int32_t {
#define X(name) name,
  KELPCHECK_OPERATIONS(X)
#undef X
};

inline constexpr const char *kOperationNames[] = {
#define X(name) "kelp2_" #name,
    KELPCHECK_OPERATIONS(X)
#undef X
};
static_assert(std::size(kOperationNames) == kOperations);

inline const char *name_of(Op op) { return kOperationNames[static_cast<int>(op)]; }

template <auto Function>
inline constexpr Op kOpOf{};
#define X(name) \
  template <>   \
  inline constexpr Op kOpOf<kelp2_##name> = Op::name;
KELPCHECK_OPERATIONS(X)
#undef X

// Measures one call of an operation that carries `rows` rows.
class Stopwatch {
 public:
  Stopwatch(Op op, int64_t rows) : op_(op), rows_(rows), start_(now_ns()) {
    blackboard->operation.store(static_cast<int32_t>(op), std::memory_order_relaxed);
    blackboard->call_started.store(start_, std::memory_order_release);
  }
  ~Stopwatch() {
    blackboard->figure(static_cast<int>(op_)).add(now_ns() - start_, rows_);
    blackboard->call_started.store(0, std::memory_order_release);
  }
  Stopwatch(const Stopwatch &) = delete;
  Stopwatch &operator=(const Stopwatch &) = delete;

 private:
  Op op_;
  int64_t rows_;
  int64_t start_;
};

template <auto Function, typename... Arguments>
auto call(int64_t rows, Arguments... arguments) {
  const Stopwatch watch(kOpOf<Function>, rows);
  return Function(arguments...);
}

}  // namespace kelpcheck
