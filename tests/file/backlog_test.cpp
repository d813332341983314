// A large backlog: a call merges its share and no more, and what was written last counts, however
// much of it is merged already.
#include <map>
#include <random>

#include "fixture.h"

namespace kelptest {

class Backlog : public FileTest {
 protected:
  int64_t number(const std::string &query) const { return std::stoll(sql(store_, query)[0]); }
  int64_t merged() const { return number("SELECT count(*) FROM merged_sample"); }
};

TEST_F(Backlog, ACallThatOverlapsItMergesNoMoreThanItsShare) {
  const Connection connection(login_, kDoNotWait);
  const Ids points = connection.make_points(380);  // of three buckets
  const int32_t calls = 250;
  for (int32_t time = 0; time < calls; ++time) {
    const Rows rows(points.size(), {time, 0, time + 0.5});
    ASSERT_EQ(first_failure(connection.write_value(points, rows)), 0);
  }
  ASSERT_EQ(merged(), 0);
  Ids ids;
  Rows rows;
  for (const size_t point : {5, 150, 300}) {
    for (int32_t time = 100; time < 116; ++time) {
      ids.push_back(points[point]);
      rows.push_back({time, 1, -1.5});
    }
  }
  EXPECT_EQ(first_failure(connection.write_cache(ids, rows)), 0);
  EXPECT_LT(merged(), 40'000);
  for (const size_t point : {5, 6, 150, 300}) {
    const Rows read = connection.history(points[point]);
    ASSERT_EQ(read.size(), size_t{calls});
    EXPECT_EQ(read[99], (Row{99, 0, 99.5}));
    EXPECT_EQ(read[110], point == 6 ? Row({110, 0, 110.5}) : Row({110, 1, -1.5}));
    EXPECT_EQ(connection.current({points[point]})[0], (Row{249, 0, 249.5}));
  }
}

// More than a call merges at a time comes together in one bucket, in any order of times.
TEST_F(Backlog, ItsOldestBlocksAreMergedFirst) {
  std::random_device device;
  const unsigned seed = device();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  const auto below = [&](int32_t limit) { return static_cast<int32_t>(random() % limit); };
  const Connection connection(login_, kDoNotWait);
  const Ids points = connection.make_points(60);
  std::map<int32_t, std::map<int32_t, Row>> model;
  std::map<int32_t, Row> current;
  double value = 0;
  int64_t left_over = 0;
  for (int call = 0; call < 130; ++call) {
    const bool realtime = call % 10 == 0;
    const int32_t time = below(2000);
    Ids ids;
    Rows rows;
    for (int i = 0; i < (realtime ? 30 : 850); ++i) {
      ids.push_back(points[below(60)]);
      rows.push_back({realtime ? time : below(2000), 0, value += 0.25});
      model[ids.back()][rows.back().time] = rows.back();
      if (realtime) current[ids.back()] = rows.back();
    }
    const Codes codes =
        realtime ? connection.write_value(ids, rows) : connection.write_cache(ids, rows);
    ASSERT_EQ(first_failure(codes), 0);
    left_over = std::max(left_over, number("SELECT max(first_block) FROM backlog"));
  }
  EXPECT_GT(left_over, 0);  // blocks were merged, and others of the same bucket not
  Readings currents, newest;
  int64_t samples = 0;
  for (const int32_t point : points) {
    const auto value_now = current.find(point);
    currents.push_back(value_now == current.end() ? std::nullopt
                                                  : std::optional(value_now->second));
    newest.push_back(model[point].rbegin()->second);
    newest.back()->time = INT32_MAX;
    samples += static_cast<int64_t>(model[point].size());
  }
  EXPECT_EQ(connection.current(points), currents);
  EXPECT_EQ(connection.snapshot(points, INT32_MAX), newest);
  EXPECT_EQ(number("SELECT count(*) FROM sample"), samples);
  for (const int32_t point : {points[0], points[59]}) {
    Rows rows;
    for (const auto &[time, row] : model[point]) rows.push_back(row);
    EXPECT_EQ(connection.history(point), rows);
  }
  EXPECT_EQ(number("SELECT count(*) FROM current_value"), int64_t(current.size()));
  for (const Object &object : connection.objects(points)) {
    ASSERT_EQ(connection.modify(Delete, "W3.N", {object.get()}), Codes{0});
  }
  const char *rows_left =
      "SELECT (SELECT count(*) FROM staged_block) + (SELECT count(*) FROM merged_sample)";
  for (int call = 0; call < 50 && number(rows_left) > 0; ++call) connection.erase("W3", "N");
  EXPECT_EQ(number(rows_left), 0);
}

// Blocks behind the newest one are not read: it does not matter that they are gone.
TEST_F(Backlog, TheNewestValueIsFoundInTheNewestBlock) {
  const Connection connection(login_, kDoNotWait);
  const Ids points = connection.make_points(100);
  for (int32_t time = 0; time < 20; ++time) {
    ASSERT_EQ(first_failure(connection.write_snap(points, Rows(points.size(), {time, 0, 0.5}))), 0);
  }
  sql(store_, "DELETE FROM staged_block WHERE last_time < 19");
  EXPECT_EQ(connection.snapshot({points[9]}, 19)[0], (Row{19, 0, 0.5}));
  EXPECT_EQ(connection.snapshot({points[9]}, INT32_MAX)[0], (Row{INT32_MAX, 0, 0.5}));
}

}  // namespace kelptest
