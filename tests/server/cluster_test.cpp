// A primary and a standby on two addresses of the loopback, named in one list of hosts. Commits
// wait for the standby, so that what was acknowledged is there after it has been promoted.
#include "fixture.h"

namespace kelptest {

class Cluster : public ServerTest {
 protected:
  void SetUp() override {
    server_ = nullptr;  // the tests leave no primary to share
    ServerTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    standby_ = std::make_unique<Server>(server(), Server::Standby{});
    server().sql("ALTER SYSTEM SET synchronous_standby_names TO '*'");
    server().sql("SELECT pg_reload_conf()");
    login_.hosts = "127.0.0.1,127.0.0.2";
  }

  std::unique_ptr<Server> standby_;
};

TEST_F(Cluster, AStandbyIsPassedOverAndRefusedAlone) {
  login_.hosts = "127.0.0.2,127.0.0.1";
  const Connection writing(login_);
  const Ids ids = writing.make_points(3);
  EXPECT_EQ(write(writing, ids, 1), 0);
  EXPECT_EQ(writing.status(), 0);

  login_.hosts = "127.0.0.2";
  testing::internal::CaptureStderr();
  EXPECT_FALSE(Connection(login_).open());
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_EQ(count_of("\n", errors), 1u) << errors;
  EXPECT_EQ(count_of("read-only", errors), 1u) << errors;
}

TEST_F(Cluster, WritingGoesOnWhereTheStandbyWasPromoted) {
  Writer writer(with(server().new_database()));
  const Program program(login_);
  ASSERT_TRUE(program.wait_for_output("I'm writing realvalue", 20s)) << program.output();
  ASSERT_TRUE(writer.writes_again());
  server().kill_hard();
  ASSERT_TRUE(program.wait_for_output("I will try connect again!", 10s)) << program.output();
  standby_->promote();
  EXPECT_TRUE(program.wait_for_output("go on!\n......\n", 12s)) << program.output();
  EXPECT_TRUE(writer.writes_again());
  EXPECT_EQ(writer.lost(*standby_), Ids());
}

// A primary that hangs must not use up the time that is left for the others.
TEST_F(Cluster, APrimaryThatHangsIsPassedOver) {
  const Ids ids = Connection(login_).make_points(3);
  server().freeze();
  standby_->promote();
  standby_->sql("ALTER SYSTEM SET synchronous_standby_names TO ''");
  standby_->sql("SELECT pg_reload_conf()");
  EXPECT_EQ(write(Connection(login_), ids, 1), 0);
}

}  // namespace kelptest
