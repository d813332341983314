// Files of an open store that are removed: what another program has written since is not touched,
// and the program that lost them connects again at once, though it never closes what it replaces.
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <utility>

#include "fixture.h"

namespace kelptest {

// A process that does its work when it is told to. It is made before the test opens the store: what
// a process has open it cannot give to a child.
class Other {
 public:
  explicit Other(const std::function<bool()> &work) {
    if (pipe(start_) != 0) std::abort();
    child_ = fork();
    if (child_ != 0) return;
    close(start_[1]);
    char go = 0;
    _exit(read(start_[0], &go, 1) == 1 && work() ? 0 : 1);
  }
  ~Other() {
    for (const int end : start_) close(end);
    if (child_ > 0) waitpid(child_, nullptr, 0);
  }
  bool succeeds() {
    int status = -1;
    const bool told = write(start_[1], "g", 1) == 1;
    const bool ended = told && waitpid(std::exchange(child_, -1), &status, 0) > 0;
    return ended && status == 0;
  }

 private:
  int start_[2];
  pid_t child_;
};

struct Loss {
  const char *name;
  std::vector<std::string> removed;
  bool other_writes;  // another program, before this one finds out
};

class Lost : public FileTest, public testing::WithParamInterface<std::tuple<Loss, bool>> {
 protected:
  static Rows rows(int32_t first, int32_t count) {
    Rows rows;
    for (int32_t time = first; time < first + count; ++time) rows.push_back({time, 0, time + 0.5});
    return rows;
  }
};

TEST_P(Lost, NothingOfOthersGoesAndTheProgramConnectsAgain) {
  const auto &[loss, through_link] = GetParam();
  make_store(store_);
  const int32_t point = first_point();
  Login login = login_;
  if (through_link) {
    login.hosts += "-link";
    fs::create_symlink(store_, folder_.path("store-link"));
  }
  Other other([&] { return Connection(login_).write_history(point, rows(1000, 30'000)) == 0; });
  const Connection replaced(login);
  ASSERT_EQ(replaced.write_history(point, rows(0, 10)), 0);
  for (const std::string &ending : loss.removed) fs::remove(store_ + ending);
  ASSERT_TRUE(!loss.other_writes || other.succeeds());
  testing::internal::CaptureStderr();
  EXPECT_NE(replaced.write_history(point, rows(100, 10)), 0);
  expect_one_line(testing::internal::GetCapturedStderr(), store_, "deleted or replaced");
  EXPECT_NE(replaced.status(), 0);
  const Connection again(login);
  ASSERT_TRUE(again.open());
  EXPECT_EQ(again.write_history(point, rows(200, 10)), 0);
  const Rows others = again.history(point, {1000, 31'000});
  EXPECT_EQ(others, loss.other_writes ? rows(1000, 30'000) : Rows());
  EXPECT_EQ(again.history(point, {200, 1000}), rows(200, 10));
  expect_intact();
}

INSTANTIATE_TEST_SUITE_P(Files, Lost,
                         testing::Combine(testing::Values(Loss{"shm", {"-shm"}, true},
                                                          Loss{"wal", {"-wal"}, false},
                                                          Loss{"both", {"-wal", "-shm"}, true}),
                                          testing::Bool()),
                         [](const auto &loss) {
                           return std::get<0>(loss.param).name +
                                  std::string(std::get<1>(loss.param) ? "_link" : "");
                         });

using LostElsewhere = FileTest;

TEST_F(LostElsewhere, AConnectionThatIsOnlyClosedLeavesWhatOthersWrote) {
  make_store(store_);
  const int32_t point = first_point();
  const Rows rows{{2, 0, 2.5}, {3, 0, 3.5}};
  Other other([&] { return Connection(login_).write_history(point, rows) == 0; });
  Connection lost(login_);
  ASSERT_EQ(lost.write_history(point, {{1, 0, 1.5}}), 0);
  for (const char *ending : {"-wal", "-shm"}) fs::remove(store_ + ending);
  ASSERT_TRUE(other.succeeds());
  lost.close();
  EXPECT_EQ(Connection(login_).history(point, {2, 4}), rows);
}

TEST_F(LostElsewhere, AnotherConnectionOfTheProgramIsToldToLetGoFirst) {
  make_store(store_);
  const Connection idle(login_);
  fs::remove(store_ + "-shm");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(Connection(login_).open());
  expect_one_line(testing::internal::GetCapturedStderr(), store_, "close that connection");
  EXPECT_NE(idle.status(), 0);
  EXPECT_TRUE(Connection(login_).open());
}

}  // namespace kelptest
