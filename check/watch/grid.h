// The seconds that a watch writes: first + k * every, for ever. One time base for a whole run: the
// server's clock as it was when the first session was made, carried on by a clock of this host that
// nobody sets. What the server's clock does later is reported, never followed.
#pragma once

#include <cstdint>
#include <optional>

namespace kelpcheck::watch {

struct Grid {
  int64_t first = 0;  // seconds since 1970
  int64_t every = 1;

  int64_t time_of(int64_t step) const { return first + step * every; }
  // Nothing for a second that is not on the grid; steps before the first are negative.
  std::optional<int64_t> step_at(int64_t time) const;
  // The first step that begins at this moment or later.
  int64_t next_step(double moment) const;
};

// Moments of the server by a clock that only goes forward.
class TimeBase {
 public:
  // `server_time` is what the server gave between two readings of this host's clocks: its fraction
  // is unknown, so that the host's own is taken where both agree to the second.
  TimeBase(int64_t monotonic_ns, double host_time, int64_t server_time);
  // With an offset to this host's clock that is known already.
  static TimeBase with_offset(int64_t monotonic_ns, double host_time, double offset);

  // Whole seconds that the server's clock is ahead of this host's.
  double offset() const { return offset_; }
  double moment(int64_t monotonic_ns) const;
  int64_t monotonic_ns(double moment) const;
  // How far the server's clock, just read, is ahead of this time base: 0 unless by a second or
  // more.
  double drift(int64_t monotonic_ns, int64_t server_time) const;

 private:
  TimeBase() = default;
  int64_t origin_ns_ = 0;
  double origin_ = 0;
  double offset_ = 0;
};

}  // namespace kelpcheck::watch
