// Where a store can be kept: links to it, other names of it, rights on it and paths that are too
// long. What is refused leaves nothing behind.
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <set>

#include "fixture.h"

namespace kelptest {

constexpr uid_t kNobody = 65534;

class Rights : public FileTest {
 protected:
  void SetUp() override {
    if (getuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    make_store(store_);
    for (const std::string &path : {folder_.path(), store_}) give_to_nobody(path);
  }
  static void give_to_nobody(const std::string &path) {
    ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
  }
  std::set<std::string> names() const {
    std::set<std::string> names;
    for (const auto &entry : fs::recursive_directory_iterator(folder_.path())) {
      names.insert(entry.path().filename());
    }
    return names;
  }
  // What somebody without privileges gets: 0 to write and read a value, 1 for no session, 2 for a
  // failure afterwards.
  int use(const std::string &path, const std::string &cause = "") const {
    const pid_t child = fork();
    if (child == 0) {
      if (setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(3);
      testing::internal::CaptureStderr();
      _exit(use_as_nobody(path, cause));
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 4;
  }
  int use_as_nobody(const std::string &path, const std::string &cause) const {
    const Connection connection({"file:" + path});
    if (!connection.open()) {
      const std::string said = testing::internal::GetCapturedStderr();
      return said.find(cause) == std::string::npos ? 5 : 1;
    }
    const int32_t point = connection.ids_of({"W3.TESTNODE01.POINT00001"})[0];
    const bool wrote = first_failure(connection.write_value({point}, {{7, 0, 1.5}})) == 0;
    return wrote && connection.current({point})[0] == Row{7, 0, 1.5} ? 0 : 2;
  }
};

TEST_F(Rights, ALinkInAFolderThatCannotBeWrittenIsFollowed) {
  const std::string folder = folder_.path("readonly");
  fs::create_directory(folder);
  fs::create_symlink(store_, folder + "/link");
  fs::permissions(folder, fs::perms(0555));
  EXPECT_EQ(use(folder + "/link"), 0);
  EXPECT_EQ(names(), (std::set<std::string>{"store", "readonly", "link"}));
}

TEST_F(Rights, ASecondNameIsRefused) {
  fs::create_hard_link(store_, folder_.path("other"));
  for (const char *name : {"store", "other"}) {
    EXPECT_EQ(use(folder_.path(name), "more than one name"), 1);
  }
  EXPECT_EQ(names(), (std::set<std::string>{"store", "other"}));
}

TEST_F(Rights, AStoreThatCannotBeWrittenIsRefusedAndWorksOnceItCan) {
  fs::permissions(store_, fs::perms(0444));
  EXPECT_EQ(use(store_, "cannot be read and written"), 1);
  EXPECT_EQ(names(), std::set<std::string>{"store"});
  fs::permissions(store_, fs::perms(0600));
  EXPECT_EQ(use(store_), 0);
}

TEST_F(Rights, FilesLeftBehindByAReaderAreMadeUsable) {
  for (const char *ending : {"-wal", "-shm"}) {
    std::ofstream(store_ + ending).close();
    give_to_nobody(store_ + ending);
    fs::permissions(store_ + ending, fs::perms(0444));
  }
  EXPECT_EQ(use(store_), 0);
}

TEST_F(Rights, APathThatIsTooLongLeavesNothing) {
  const std::string folder = folder_.path(std::string(250, 'f'));
  fs::create_directory(folder);
  give_to_nobody(folder);
  for (const size_t length : {505, 520}) {
    const std::string name(length - folder.size() - 1, 's');
    EXPECT_EQ(use(folder + "/" + name, "File name too long"), 1) << length;
    EXPECT_FALSE(names().contains(name));
  }
}

}  // namespace kelptest
