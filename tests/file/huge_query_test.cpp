// Queries of more rows than are kept in memory: they go to a file, wherever there can be one.
#include <sys/mount.h>

#include "fixture.h"

namespace kelptest {

class HugeQuery : public FileTest {
 protected:
  static constexpr int32_t kRows = 50'000;
  static constexpr int32_t kRepeated = 43;  // together somewhat more than 128 MB of statistics

  void SetUp() override {
    const Connection connection(login_);
    point_ = connection.make_points(1)[0];
    Rows rows;
    for (int32_t i = 0; i < kRows; ++i) rows.push_back({i, 3, i / 16.0});
    ASSERT_EQ(connection.write_history(point_, rows), 0);
  }
  void TearDown() override { unsetenv("TMPDIR"); }

  std::vector<Result> ask(const Connection &connection) const {
    return connection.query(Ids(kRepeated, point_), HistoryStatistics);
  }

  int32_t point_ = 0;
};

TEST_F(HugeQuery, IsReadInAnyOrderWhereverItsRowsAre) {
  setenv("TMPDIR", folder_.path("missing").c_str(), 1);
  Connection connection(login_);
  std::vector<Result> results = ask(connection);
  connection.close();
  for (int32_t i = 0; i < kRepeated; i += 2) results[i].reset();
  for (int32_t row = 0; row < kRows; ++row) {
    StatValue statistics;
    for (int32_t i = kRepeated - 2; i > 0; i -= 14) {
      const int32_t last = row == kRows - 1 ? 1 : 0;
      ASSERT_EQ(kelp2_fetch_stat_value(results[i].get(), &statistics), last);
      ASSERT_EQ(statistics.mean, row / 16.0);
    }
  }
}

TEST_F(HugeQuery, FailsWhereTheDiskOfItsFileIsFull) {
  const TempFolder small;
  if (mount("none", small.path().c_str(), "tmpfs", 0, "size=1m") != 0) {
    GTEST_SKIP() << "cannot mount a small disk here";
  }
  setenv("TMPDIR", small.path().c_str(), 1);
  const Connection connection(login_);
  const Ids ids(kRepeated, point_);
  const Codes modes(kRepeated, HistoryStatistics);
  std::vector<ResultHandle> results(kRepeated);
  Codes errors(kRepeated);
  testing::internal::CaptureStderr();
  EXPECT_EQ(kelp2_get_history_byid(connection.handle(), kRepeated, ids.data(), modes.data(), 0,
                                   kRows, 1, results.data(), errors.data()),
            -10);
  expect_one_line(testing::internal::GetCapturedStderr(), small.path(), "No space left");
  EXPECT_EQ(results, std::vector<ResultHandle>(kRepeated));
  EXPECT_EQ(connection.history(point_, {7, 9}), (Rows{{7, 3, 7 / 16.0}, {8, 3, 0.5}}));
  EXPECT_EQ(fs::space(small.path()).available, fs::space(small.path()).capacity);
  umount2(small.path().c_str(), MNT_DETACH);
}

}  // namespace kelptest
