// Names with several addresses, and calls that wait for others at the server.
#include <arpa/inet.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "fixture.h"

namespace kelptest {

namespace {

// Takes connections and never says a word.
class SilentPort {
 public:
  SilentPort(const char *host, int port) : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = inet_addr(host);
    address.sin_port = htons(static_cast<uint16_t>(port));
    const auto *general = reinterpret_cast<const sockaddr *>(&address);
    EXPECT_EQ(bind(listener_, general, sizeof address) | listen(listener_, 16), 0);
  }
  ~SilentPort() { close(listener_); }

 private:
  int listener_;
};

}  // namespace

class Reach : public ServerTest {};

TEST_F(Reach, AnAddressThatHangsIsPassedOver) {
  const TempFolder folder;
  std::ofstream(folder.path("hosts")) << "127.0.0.3 many\n127.0.0.1 many localhost\n";
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount(folder.path("hosts").c_str(), "/etc/hosts", nullptr, MS_BIND, nullptr) != 0) {
    GTEST_SKIP() << "this user cannot name addresses";
  }
  const SilentPort silent("127.0.0.3", login_.port);
  login_.hosts = "many";
  const Connection connection(login_);
  umount2("/etc/hosts", MNT_DETACH);
  EXPECT_TRUE(connection.open());
}

// Behind a lock of somebody else a call fails in time, and nothing of it stays at the server.
TEST_F(Reach, ACallThatWaitsInVainLeavesNothingAtTheServer) {
  login_.bound = 1;
  Connection connection(login_);
  const Ids ids = connection.make_points(3);
  std::thread holder([&] {
    sql("BEGIN; LOCK TABLE kelp.sample IN ACCESS EXCLUSIVE MODE; SELECT pg_sleep(4); ROLLBACK");
  });
  const char *holding = "SELECT count(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'";
  EXPECT_TRUE(wait_for(10s, [&] { return sql(holding) == "1"; }));
  for (int32_t time = 1; time <= 2; ++time) {
    EXPECT_LT(seconds([&] { EXPECT_NE(write(connection, ids, time), 0); }), 1.4);
    if (connection.status() != 0) connection = Connection(login_);
  }
  EXPECT_EQ(server().backends(login_.name).size(), 1u);
  holder.join();
  EXPECT_EQ(write(connection, ids, 3), 0);
  EXPECT_EQ(sql("SELECT min(time) FROM kelp.sample"), "3");
}

}  // namespace kelptest
