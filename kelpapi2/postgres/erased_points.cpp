#include "postgres/erased_points.h"

#include <algorithm>
#include <limits>

namespace kelp::postgres {

namespace {

constexpr int kPointsAtOnce = 64;

// Clearing up waits for nobody: what is locked is left for later. Not every engine has the setting.
const Command kWaitForNobody{
    "SELECT pg_catalog.set_config(name, '100', true) FROM pg_catalog.pg_settings"
    " WHERE name = 'lock_timeout'"};
constexpr int64_t kSmallestPiece = 16, kFirstPiece = 512, kLargestPiece = 16384;  // in rows

class Sweep {
 public:
  Sweep(Session &session, Clock::time_point deadline) : session_(session), deadline_(deadline) {}

  // As many points with few rows together as make a piece, those with many rows one by one. Each
  // point is come to once, in the order of ids.
  void run() {
    for (;;) {
      const std::vector<Leftover> leftovers = find();
      if (leftovers.empty()) return;
      for (size_t first = 0, end = 0; first < leftovers.size(); first = end) {
        const int64_t piece = piece_;
        int64_t rows = 0;
        while (end < leftovers.size() && rows < piece) rows += leftovers[end++].rows;
        if (leftovers[end - 1].rows >= piece) shorten(leftovers[end - 1].id);
        if (late_) return;
        finish(std::span(leftovers).subspan(first, end - first));
        if (late_) return;
      }
    }
  }

 private:
  struct Leftover {
    int32_t id;
    int64_t rows;  // as far as they were counted
  };

  std::vector<Leftover> find() {
    const std::vector<Result> noted =
        transact({{"SELECT id FROM kelp.erased_point WHERE id > $1 ORDER BY id LIMIT " +
                       std::to_string(kPointsAtOnce),
                   {int4(last_)}}});
    std::vector<Leftover> leftovers;
    std::vector<Command> counts;
    for (int row = 0; row < PQntuples(noted[0].get()); ++row) {
      last_ = number_at<int32_t>(noted[0], row, 0);
      leftovers.push_back({last_, 0});
      counts.push_back(
          {"SELECT count(*) FROM (SELECT 1 FROM kelp.sample WHERE point_id = $1 LIMIT $2) AS first",
           {int4(leftovers.back().id), int8(kLargestPiece)}});
    }
    const std::vector<Result> counted = transact(counts);
    for (size_t i = 0; i < counted.size(); ++i) {
      leftovers[i].rows = number_at<int64_t>(counted[i], 0, 0);
    }
    return leftovers;
  }

  // Removes the samples of a point in time order until those left are fewer than a piece, or the
  // time has ended.
  void shorten(int32_t id) {
    int32_t begin = std::numeric_limits<int32_t>::min();
    while (!late_) {
      const std::vector<Result> end =
          transact({{"SELECT time FROM kelp.sample WHERE point_id = $1 AND time >= $2"
                     " ORDER BY time OFFSET $3 LIMIT 1",
                     {int4(id), int4(begin), int8(piece_)}}});
      if (PQntuples(end[0].get()) == 0) return;
      const auto next = number_at<int32_t>(end[0], 0, 0);
      remove({{"DELETE FROM kelp.sample WHERE point_id = $1 AND time >= $2 AND time < $3",
               {int4(id), int4(begin), int4(next)}}});
      begin = next;
    }
  }

  // Removes all that is left of these points.
  void finish(std::span<const Leftover> points) {
    std::vector<Command> commands;
    for (const Leftover &point : points) {
      for (const char *statement : {"DELETE FROM kelp.sample WHERE point_id = $1",
                                    "DELETE FROM kelp.current_value WHERE point_id = $1",
                                    "DELETE FROM kelp.erased_point WHERE id = $1"}) {
        commands.push_back({statement, {int4(point.id)}});
      }
    }
    remove(commands);
  }

  std::vector<Result> transact(const std::vector<Command> &commands) {
    std::vector<Command> all{kWaitForNobody};
    all.insert(all.end(), commands.begin(), commands.end());
    std::vector<Result> results = session_.transact(all);
    results.erase(results.begin());
    return results;
  }

  void remove(const std::vector<Command> &commands) {
    const auto begin = Clock::now();
    transact(commands);
    const auto end = Clock::now();
    late_ = end >= deadline_;
    if (end - begin > session_.bound() / 20) piece_ = std::max(piece_ / 2, kSmallestPiece);
    if (end - begin < session_.bound() / 200) piece_ = std::min(piece_ * 2, kLargestPiece);
  }

  Session &session_;
  Clock::time_point deadline_;
  bool late_ = false;
  int32_t last_ = 0;             // point that was found
  int64_t piece_ = kFirstPiece;  // follows how fast the server is
};

}  // namespace

void remove_leftovers(Session &session, Clock::duration time) noexcept {
  try {
    Sweep(session, Clock::now() + time).run();
  } catch (const Failure &failure) {
    session.say_later(failure);
  } catch (const std::bad_alloc &) {
    // The next one may have the memory.
  }
}

}  // namespace kelp::postgres
