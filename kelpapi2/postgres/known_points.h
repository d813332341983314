// Which points a session has seen to exist. Ids are never used again, so such a point exists unless
// it was deleted since; callers that rely on it have to notice that.
#pragma once

#include <span>
#include <unordered_set>
#include <vector>

#include "postgres/session.h"
#include "store/sql_store.h"

namespace kelp::postgres {

// Parts of queries about each of the ids in $1, in their order: the id i.id, and the point of that
// id, o, or nulls.
inline const std::string kEachId =
    " FROM pg_catalog.unnest($1) WITH ORDINALITY AS i (id, position)";
inline const std::string kJoinPoint = " LEFT JOIN kelp.object AS o ON o.id = i.id AND " + kIsPoint;
inline const std::string kInOrder = " ORDER BY i.position";

// Which of the points exist: a row with a bool for each, in their order.
Command which_exist(std::span<const int32_t> ids);

class KnownPoints {
 public:
  explicit KnownPoints(Session &session) : session_(session) {}

  // Asks the server which of the points exist, and notes it.
  std::vector<bool> ask(std::span<const int32_t> ids);
  // Those of the points that do not exist. Asks for the ones that were not seen yet.
  std::vector<int32_t> missing(std::span<const int32_t> ids);
  // Notes of a point that it exists, or not.
  void note(int32_t id, bool exists);

 private:
  Session &session_;
  std::unordered_set<int32_t> seen_;
};

}  // namespace kelp::postgres
