// Power failures: what the disk could hold at many moments, while a program that waits for its
// commits and one that does not (bit 8) write to one store.
#include "fixture.h"
#include "recording_vfs.h"
#include "support/random.h"

namespace kelptest {

constexpr int32_t kRowsOfCall = 4000;

class Crash : public FileTest {
 protected:
  // A call of this writes a log of about 100 kB.
  static Rows rows(int32_t call) {
    Rows rows;
    for (int32_t time = 0; time < kRowsOfCall; ++time) rows.push_back({time, 0, double(call)});
    return rows;
  }
  // The call that a point's rows come from: all of them from one.
  static double call_of(const std::string &store, int32_t point) {
    const Rows rows = Connection({"file:" + store}).history(point, {0, kRowsOfCall});
    if (rows.empty()) return 0;
    EXPECT_EQ(rows.size(), size_t{kRowsOfCall});
    for (const Row &row : rows) EXPECT_EQ(row.value, rows[0].value);
    return rows[0].value;
  }
};

TEST_F(Crash, AtAnyMomentLeavesAWholeStoreWithAllThatWasWaitedFor) {
  RecordingVfs vfs;
  std::vector<size_t> acknowledged;  // the moments at which calls of the waiting program returned
  int32_t waiting_point = 0, lazy_point = 0;
  {
    const Connection waiting(login_), lazy(login_, kDoNotWait);
    const Ids points = waiting.make_points(2);
    waiting_point = points[0];
    lazy_point = points[1];
    for (int32_t call = 1; call <= 330; ++call) {  // which moves the log into the file four times
      ASSERT_EQ(lazy.write_history(lazy_point, rows(call)), 0);
      if (call % 3 != 0) continue;
      ASSERT_EQ(waiting.write_history(waiting_point, rows(call)), 0);
      acknowledged.push_back(vfs.moment());
    }
  }
  Random random;
  const std::string image = folder_.path("image");
  for (int crash = 0; crash < 40; ++crash) {
    const size_t first = acknowledged[0];
    const size_t moment = first + random() % (acknowledged.back() - first);
    for (const char *ending : {"", "-wal", "-shm"}) fs::remove(image + ending);
    vfs.make_image(moment, store_, image, random);
    ASSERT_EQ(sql(image, "PRAGMA integrity_check"), Lines{"ok"}) << moment;
    const auto next = std::upper_bound(acknowledged.begin(), acknowledged.end(), moment);
    const auto promised = static_cast<double>(3 * (next - acknowledged.begin()));
    const double found = call_of(image, waiting_point);
    ASSERT_TRUE(found == promised || found == promised + 3) << moment << ' ' << found;
    ASSERT_LE(call_of(image, lazy_point), promised + 3);
  }
}

TEST_F(Crash, ACommitThatCannotBeSyncedEndsTheSession) {
  make_store(store_);
  const int32_t point = first_point();
  RecordingVfs vfs;
  const Connection connection(login_);
  vfs.fail_syncs(true);
  testing::internal::CaptureStderr();
  EXPECT_EQ(connection.write_history(point, rows(1)), -2);
  expect_one_line(testing::internal::GetCapturedStderr(), store_, "disk I/O error");
  EXPECT_NE(connection.status(), 0);
  vfs.fail_syncs(false);
  EXPECT_EQ(Connection(login_).write_history(point, rows(2)), 0);
  EXPECT_EQ(call_of(store_, point), 2);
  expect_intact();
}

}  // namespace kelptest
