// What is staged and what is merged read as one, in whatever ways samples are written: against a
// model, with enough calls for every bucket to be merged more than once.
#include <map>

#include "fixture.h"
#include "support/random.h"

namespace kelptest {

constexpr int32_t kTimes = 400;

class Staged : public FileTest {
 protected:
  int32_t below(int32_t limit) { return static_cast<int32_t>(random_() % limit); }

  // A call with `count` rows at points and times that may repeat themselves.
  void write(size_t count) {
    const Connection &connection = connections_[below(2)];
    const int32_t way = below(30) == 0 ? 3 : below(3);  // the last one merges what it overlaps
    const int32_t one = points_[below(static_cast<int32_t>(points_.size()))];
    const int32_t time = below(kTimes);
    Ids ids;
    Rows rows;
    for (size_t i = 0; i < count; ++i) {
      ids.push_back(way == 3 ? one : points_[below(static_cast<int32_t>(points_.size()))]);
      rows.push_back({way < 2 ? time : below(kTimes), int16_t(below(3) - 1), next_ += 0.25});
      model_[ids.back()][rows.back().time] = rows.back();
      if (way == 0) current_[ids.back()] = rows.back();
    }
    const Codes codes = way == 0   ? connection.write_value(ids, rows)
                        : way == 1 ? connection.write_snap(ids, rows)
                        : way == 2 ? connection.write_cache(ids, rows)
                                   : Codes{connection.write_cache_one(one, rows)};
    ASSERT_EQ(first_failure(codes), 0);
  }

  void check(const Connection &connection) {
    const int32_t time = below(kTimes);
    Readings currents, snapshots;
    for (const int32_t point : points_) {
      const auto &samples = model_[point];
      const auto behind = samples.upper_bound(time);
      const bool any = behind != samples.begin();
      snapshots.push_back(any ? std::optional(std::prev(behind)->second) : std::nullopt);
      if (any) snapshots.back()->time = time;
      const auto current = current_.find(point);
      currents.push_back(current == current_.end() ? std::nullopt : std::optional(current->second));
    }
    EXPECT_EQ(connection.current(points_), currents);
    EXPECT_EQ(connection.snapshot(points_, time), snapshots);
    const int32_t point = points_[below(static_cast<int32_t>(points_.size()))];
    Rows rows;
    for (const auto &[at, row] : model_[point]) rows.push_back(row);
    EXPECT_EQ(connection.history(point), rows);
  }

  Random random_;
  Ids points_;
  std::map<int32_t, std::map<int32_t, Row>> model_;
  std::map<int32_t, Row> current_;
  std::vector<Connection> connections_;
  double next_ = 0;
};

TEST_F(Staged, ReadsAsIfEveryCallHadGoneStraightIntoTheTable) {
  connections_.emplace_back(login_, kDoNotWait);
  connections_.emplace_back(login_, kDoNotWait);
  points_ = connections_[0].make_points(300);
  for (int round = 0; round < 25; ++round) {
    for (int call = 0; call < 40; ++call) write(call % 20 == 0 ? 3000 : 1 + below(300));
    if (HasFatalFailure()) return;
    check(connections_[below(2)]);
    const Object gone = connections_[0].object("W3.N.P" + std::to_string(round));
    ASSERT_EQ(connections_[below(2)].modify(Delete, "W3.N", {gone.get()}), Codes{0});
    EXPECT_TRUE(connections_[1].history(points_[0]).empty());
    points_.erase(points_.begin());
  }
  size_t samples = 0;
  for (const int32_t point : points_) samples += model_[point].size();
  EXPECT_EQ(
      sql(store_, "SELECT count(*) FROM sample JOIN object ON object.id = point_id AND kind >= 32"),
      Lines{std::to_string(samples)});
  EXPECT_GT(std::stoi(sql(store_, "SELECT count(*) FROM merged_sample")[0]), 1000);
  expect_intact();
}

}  // namespace kelptest
