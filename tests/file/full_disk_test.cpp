// A disk that is full, and then is not: a small file system of its own holds the store.
#include <sys/mount.h>

#include "fixture.h"

namespace kelptest {

class FullDisk : public FileTest {
 protected:
  void SetUp() override {
    if (mount("none", folder_.path().c_str(), "tmpfs", 0, "size=1m") != 0) {
      GTEST_SKIP() << "cannot mount a small disk here";
    }
  }
  void TearDown() override { umount2(folder_.path().c_str(), MNT_DETACH); }

  // An hour of values after those that are there.
  bool write_block(const Connection &connection) {
    Rows rows(360);
    for (int32_t i = 0; i < 360; ++i) rows[i] = {blocks_ * 360 + i, 0, 0.123};
    const bool written = connection.write_history(first_point(), rows) == 0;
    if (written) ++blocks_;
    return written;
  }
  void expect_all_blocks() const {
    const std::string rows = std::to_string(blocks_ * 360);
    EXPECT_EQ(sql(store_, "SELECT count(*), max(time) + 1 FROM sample WHERE time < 1e9"),
              Lines{rows + "|" + rows});
    expect_intact();
  }

  int32_t blocks_ = 0;
};

TEST_F(FullDisk, NothingIsLostAndWritingGoesOnWhenThereIsSpace) {
  const std::string ballast = folder_.path("ballast");
  std::ofstream(ballast) << std::string(fs::space(folder_.path()).available - 400'000, 'b');
  expect_refused(store_, "the disk is full", "-10\n");

  fs::resize_file(ballast, fs::file_size(ballast) - 300'000);
  const Connection connection(login_);
  testing::internal::CaptureStderr();
  while (write_block(connection) && blocks_ < 1000) continue;
  expect_one_line(testing::internal::GetCapturedStderr(), store_, "the disk is full");
  EXPECT_GT(blocks_, 3);
  EXPECT_EQ(connection.status(), 0);
  expect_all_blocks();

  fs::remove(ballast);
  EXPECT_TRUE(write_block(connection));
  expect_all_blocks();
}

}  // namespace kelptest
