#include "sqlite/deleted_points.h"

#include <chrono>

namespace kelp::sqlite {

int64_t count_deleted_points(Database &database) {
  return database.number("SELECT seq FROM sqlite_sequence WHERE name = 'deleted_point'");
}

bool erase_some(Database &database, Samples &samples) {
  constexpr int64_t most_samples = 10'000;
  constexpr int64_t cost_of_point = 10;  // in samples
  for (int64_t left = most_samples; left > 0;) {
    const int64_t point =
        database.number("SELECT point_id FROM deleted_point ORDER BY seq LIMIT 1");
    if (point == 0) return false;
    const int64_t erased = samples.erase(static_cast<int32_t>(point), left);
    if (erased == left) return true;
    left -= erased + cost_of_point;
    database.statement("DELETE FROM deleted_point WHERE seq = (SELECT min(seq) FROM deleted_point)")
        .run();
  }
  return true;
}

void erase_more(Database &database, Samples &samples) noexcept {
  using Clock = std::chrono::steady_clock;
  constexpr auto longest = std::chrono::milliseconds(100);
  const auto deadline = Clock::now() + longest;
  try {
    const Database::Impatience impatience(database);
    for (bool more = true; more && Clock::now() < deadline;) {
      Transaction transaction(database, Transaction::Kind::write);
      more = erase_some(database, samples);
      transaction.commit();
    }
  } catch (const std::exception &) {
    // The disk is full, or another program writes: its call, or our next one, goes on.
  }
}

}  // namespace kelp::sqlite
