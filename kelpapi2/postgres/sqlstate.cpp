// One table, exact states before classes.
#include "postgres/sqlstate.h"

#include <algorithm>
#include <array>

namespace kelp::postgres {

namespace {

struct Entry {
  std::string_view prefix;
  ResultCode code;
};

constexpr std::array kTable = {
    Entry{"25006", kReadOnly},      // read_only_sql_transaction: a standby
    Entry{"28P01", kDenied},        // invalid_password
    Entry{"3D000", kNoConnection},  // no such database
    Entry{"2200H", kInternal},      // sequence_generator_limit_exceeded: no more ids
    Entry{"40001", kConflict},      // serialization_failure
    Entry{"40003", kLost},          // statement_completion_unknown
    Entry{"40P01", kConflict},      // deadlock_detected
    Entry{"42501", kDenied},        // insufficient_privilege
    Entry{"53100", kStorageFull},   // disk_full
    Entry{"53200", kOutOfMemory},   // out_of_memory
    Entry{"53300", kNoConnection},  // too_many_connections
    Entry{"55P03", kTimedOut},      // lock_not_available
    Entry{"57014", kTimedOut},      // query_canceled, by a timeout of the server
    Entry{"57P01", kLost},          // admin_shutdown
    Entry{"57P02", kLost},          // crash_shutdown
    Entry{"57P03", kNoConnection},  // cannot_connect_now
    Entry{"57P04", kLost},          // database_dropped
    Entry{"57P05", kLost},          // idle_session_timeout
    Entry{"25P03", kLost},          // idle_in_transaction_session_timeout
    Entry{"XX001", kDamaged},       // data_corrupted
    Entry{"XX002", kDamaged},       // index_corrupted
    Entry{"08", kLost},             // connection exceptions
    Entry{"22", kInvalidArgument},  // data that a column cannot hold
    Entry{"28", kDenied},           // invalid authorization
    Entry{"40", kConflict},         // other rollbacks
    Entry{"53", kStorageFull},      // other exhausted resources
    Entry{"58", kInternal},         // errors of the server's system
};

bool is_any_of(std::string_view state, std::initializer_list<std::string_view> states) {
  return std::find(states.begin(), states.end(), state) != states.end();
}

}  // namespace

ResultCode code_of_sqlstate(std::string_view state) {
  if (state.empty()) return kLost;
  const auto entry = std::find_if(kTable.begin(), kTable.end(), [state](const Entry &candidate) {
    return state.starts_with(candidate.prefix);
  });
  return entry == kTable.end() ? kInternal : entry->code;
}

bool is_retryable(std::string_view state) {
  // Of foreign_key_violation, which a node deleted meanwhile gives, the second run finds the cause.
  return is_any_of(state, {"40001", "40P01", "23503"});
}

bool is_creation_race(std::string_view state) {
  // unique_violation on a catalog, duplicate schema, table or object, "tuple concurrently updated"
  return is_any_of(state, {"23505", "42P06", "42P07", "42710", "XX000", "40001", "40P01"});
}

bool is_key_conflict(std::string_view state) { return is_any_of(state, {"23505", "XX000"}); }

bool is_unfit_text(std::string_view state) { return is_any_of(state, {"22021", "22P05"}); }

}  // namespace kelp::postgres
