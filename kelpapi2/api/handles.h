// What the opaque handles of the C interface point to, and the guard at that boundary: inside the
// library failures are exceptions, outside they are codes.
#pragma once

#include <kelpapi2.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "store/history.h"
#include "store/process.h"
#include "store/store.h"

struct kelp2_connection {
  std::unique_ptr<kelp::Store> store;
  kelp::OwningProcess process = {};
};

struct kelp2_group {
  std::vector<std::string> names;
};

struct kelp2_object {
  kelp::ObjectRecord record;
  uint32_t changed = 0;  // of kelp::ChangedField, since the object was read or sent
};

struct kelp2_result {
  std::shared_ptr<const kelp::HistoryRows> rows;  // shared with the other results of the query
  size_t point;                                   // its position in the query
  int64_t next = 0;                               // row
  kelp::OwningProcess process = {};
};

namespace kelp {

// The most rows that one call may carry; what goes beyond is taken for a mistake in a time range.
constexpr int32_t kMostRows = 16'777'216;

// Throws kInvalidArgument, without a line: the mistake is the caller's.
inline void require(bool condition) {
  if (!condition) throw Failure(kInvalidArgument);
}

// Arrays of `count` entries each, which may be null if there are none.
template <typename... Entries>
void require_arrays(int64_t count, const Entries *...arrays) {
  require(count >= 0 && (count == 0 || (... && (arrays != nullptr))));
}

// As many rows as a call may carry.
inline void require_rows(int32_t count) {
  if (count <= kMostRows) return;
  throw Failure(kInvalidArgument, std::to_string(count) + " rows in one call are more than the " +
                                      std::to_string(kMostRows) + " that it takes");
}

// Says why a call failed, if there is something to say; allocates nothing.
inline int32_t report(ResultCode code, const char *cause) noexcept {
  if (cause[0] != '\0') std::fprintf(stderr, "libkelpapi2: %s\n", cause);
  return code;
}

// Runs a call and returns what it returns, or the code of its failure.
template <typename Call>
int32_t guarded(Call &&call) noexcept {
  try {
    return call();
  } catch (const Failure &failure) {
    return report(failure.code(), failure.what());
  } catch (const std::bad_alloc &) {
    return report(kOutOfMemory, "out of memory");
  } catch (const std::exception &error) {
    return report(kInternal, error.what());
  } catch (...) {
    return report(kInternal, "an unknown failure");
  }
}

// The names in a group.
inline const std::vector<std::string> &names_of(GroupHandle group) {
  require(group != nullptr);
  return group->names;
}

// The store behind a connection.
inline Store &store_of(ConnectionHandle connection) {
  if (connection == nullptr) throw Failure(kLost);
  connection->process.require_current();
  return *connection->store;
}

}  // namespace kelp
