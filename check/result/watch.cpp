#include "result/watch.h"

namespace kelpcheck::watch {

const char *name_of(Outcome outcome) {
  switch (outcome) {
    case Outcome::acknowledged: return "acknowledged";
    case Outcome::failed: return "failed";
    case Outcome::unknown: return "unknown";
    case Outcome::skipped: return "skipped";
    default: return "not watched";
  }
}

const char *name_of(WatchVerdict verdict) {
  switch (verdict) {
    case WatchVerdict::passed: return "passed";
    case WatchVerdict::failed: return "failed";
    default: return "unknown";
  }
}

Samples &Samples::operator+=(const Samples &other) {
  acknowledged += other.acknowledged;
  present += other.present;
  lost += other.lost;
  changed += other.changed;
  foreign += other.foreign;
  recovered += other.recovered;
  return *this;
}

int WatchReport::exit_status() const {
  constexpr int failed = 1, no_session = 3, unknown = 4;
  if (no_connection) return no_session;
  if (interrupted != 0) return 128 + interrupted;
  switch (verdict) {
    case WatchVerdict::passed: return 0;
    case WatchVerdict::failed: return failed;
    default: return unknown;
  }
}

}  // namespace kelpcheck::watch
