// A disk that is full, and then is not: a small file system of its own holds the database.
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "fixture.h"

namespace kelptest {

class FullDisk : public ServerTest {
 protected:
  // A mount namespace of its own: nobody else sees the mount, and it goes away with this process.
  // The server has to be in it.
  void SetUp() override {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", disk_.path().c_str(), "tmpfs", 0, "size=32m") != 0) {
      GTEST_SKIP() << "this user cannot mount a small file system";
    }
    ServerTest::SetUp();
  }
  void TearDown() override { umount2(disk_.path().c_str(), MNT_DETACH); }

  static int32_t write_hour(const Connection &connection, int32_t id, int32_t begin) {
    Rows rows(3600);
    for (int32_t i = 0; i < 3600; ++i) rows[i].time = begin + i;
    return connection.write_history(id, rows);
  }

  TempFolder disk_;
};

TEST_F(FullDisk, WritingFailsUntilThereIsSpaceAgain) {
  std::filesystem::create_directory(disk_.path("space"));
  Server::give_to_server(disk_.path("space"));
  server().sql("CREATE TABLESPACE small LOCATION '" + disk_.path("space") + "'");
  login_ = with(server().new_database("TABLESPACE small"));
  login_.bound = 10;
  const Connection connection(login_);
  const int32_t id = connection.make_points(1)[0];
  std::ofstream(disk_.path("other")) << std::string(8 << 20, 'x');

  testing::internal::CaptureStderr();
  int32_t time = 0;
  int32_t result = 0;
  while ((result = write_hour(connection, id, time)) == 0 && time < 3'600'000) time += 3600;
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_LT(result, 0);
  EXPECT_EQ(count_of("\n", errors), 1u) << errors;
  EXPECT_NE(errors.find("No space left on device"), std::string::npos) << errors;
  EXPECT_EQ(connection.status(), 0);

  std::filesystem::remove(disk_.path("other"));
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.sample"), std::to_string(time));
  EXPECT_EQ(write_hour(connection, id, time), 0);
}

}  // namespace kelptest
