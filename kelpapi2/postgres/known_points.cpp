#include "postgres/known_points.h"

#include "postgres/retry.h"

namespace kelp::postgres {

Command which_exist(std::span<const int32_t> ids) {
  static const std::string query = "SELECT o.id IS NOT NULL" + kEachId + kJoinPoint + kInOrder;
  return {query, {int4_array(ids)}};
}

std::vector<bool> KnownPoints::ask(std::span<const int32_t> ids) {
  const std::vector<Command> query{which_exist(ids)};
  const Result found = retried(session_, [&] { return std::move(session_.exchange(query)[0]); });
  std::vector<bool> existing;
  for (int row = 0; row < rows_of(found, ids.size()); ++row) {
    existing.push_back(bool_at(found, row, 0));
    note(ids[row], existing.back());
  }
  return existing;
}

std::vector<int32_t> KnownPoints::missing(std::span<const int32_t> ids) {
  std::vector<int32_t> result;
  for (const int32_t id : ids) {
    if (!seen_.contains(id)) result.push_back(id);
  }
  if (!result.empty()) ask(std::vector(result));
  std::erase_if(result, [&](int32_t id) { return seen_.contains(id); });
  return result;
}

void KnownPoints::note(int32_t id, bool exists) {
  if (exists) {
    seen_.insert(id);
  } else {
    seen_.erase(id);
  }
}

}  // namespace kelp::postgres
