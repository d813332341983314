// An open loop: every call has an intended start, at regular intervals, whatever became of the
// calls before it. Call i belongs to session i mod N.
#pragma once

#include <cstdint>

namespace kelpcheck {

inline constexpr int64_t kSecond = 1'000'000'000;  // nanoseconds

struct Schedule {
  int64_t begin;    // now_ns() of the first call
  double interval;  // nanoseconds
  int64_t calls;    // of all sessions
  int32_t sessions;

  int64_t at(int64_t call) const {
    return begin + static_cast<int64_t>(static_cast<double>(call) * interval);
  }
  int64_t end() const { return at(calls); }
  int64_t number(int32_t session, int64_t nth) const { return nth * sessions + session; }
  int64_t calls_of(int32_t session) const { return (calls - session + sessions - 1) / sessions; }
  // How many calls are due in a stretch of time.
  int64_t due(int64_t from, int64_t until) const { return due(until) - due(from); }

 private:
  int64_t due(int64_t until) const;  // before that moment
};

// How long a stage lasts, in seconds: until a hundred calls count, those after `uncounted` seconds,
// and 3 s, but 20 s at most.
double stage_seconds(double calls_per_second, double uncounted);

}  // namespace kelpcheck
