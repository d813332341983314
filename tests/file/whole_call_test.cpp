// A call that failed has changed nothing, and one that has changed something has not failed:
// wherever in its middle the disk fills up or another program takes the lock.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "fixture.h"
#include "recording_vfs.h"

namespace kelptest {

constexpr int32_t kPoints = 300;
constexpr int32_t kRowsToErase =
    20'000;  // of each of the first two, which takes several steps to erase

class WholeCall : public FileTest {
 protected:
  void SetUp() override {
    connection_ = Connection(login_);
    points_ = connection_.make_points(kPoints);
    for (const int32_t point : {points_[0], points_[1]}) {
      ASSERT_EQ(connection_.write_history(point, rows(0, kRowsToErase)), 0);
    }
  }
  static Rows rows(int32_t begin, int32_t count) {
    Rows rows;
    for (int32_t time = begin; time < begin + count; ++time) rows.push_back({time, 0, 0.5});
    return rows;
  }
  int32_t erase_all(const Connection &connection) const {
    const std::vector<Object> objects = connection.objects(points_);
    std::vector<ObjectHandle> handles;
    for (const Object &object : objects) handles.push_back(object.get());
    return first_failure(connection.modify(Delete, "W3.N", handles));
  }
  int32_t describe_all(const Connection &connection) const {
    const std::vector<Object> objects = connection.objects(points_);
    std::vector<ObjectHandle> handles;
    for (const Object &object : objects) {
      kelp2_object_set_string(object.get(), KELP2_FIELD_DESCRIPTION, "described");
      handles.push_back(object.get());
    }
    return first_failure(connection.modify(Update, "W3.N", handles));
  }
  Lines contents() const {
    Lines lines = sql(store_, "SELECT count(*), max(full_name), max(ed) FROM object");
    const std::string first = std::to_string(points_[0]), second = std::to_string(points_[1]);
    for (const std::string &point : {first, second}) {
      const auto counted = sql(store_,
                               "SELECT count(*), total(value) FROM sample JOIN object"
                               " ON object.id = point_id WHERE point_id = " +
                                   point);
      lines.insert(lines.end(), counted.begin(), counted.end());
    }
    return lines;
  }

  Connection connection_;
  Ids points_;
};

TEST_F(WholeCall, OnADiskThatFillsUpIsDoneOrNot) {
  RecordingVfs vfs;
  const Connection connection(login_);
  const struct {
    const char *name;
    std::function<int32_t()> make;
  } calls[] = {
      {"insert", [&] { return connection.insert("W3.N", "Z", AX); }},
      {"update", [&] { return describe_all(connection); }},
      {"history", [&] { return connection.write_history(points_[0], rows(kRowsToErase, 1000)); }},
      {"cache", [&] { return first_failure(connection.write_cache(points_, rows(-300, 300))); }},
      {"delete", [&] { return erase_all(connection); }},
  };
  for (const auto &[name, make] : calls) {
    const Lines before = contents();
    int failed = 0;
    testing::internal::CaptureStderr();
    for (bool done = false; !done; failed += done ? 0 : 1) {
      SCOPED_TRACE(name + std::string(" on a disk with room for ") + std::to_string(failed));
      vfs.fail_writes_after(failed);
      const int32_t result = make();
      vfs.fail_writes_after(INT64_MAX);
      done = result == 0;
      ASSERT_TRUE(done || result == -10) << result;
      ASSERT_EQ(contents() == before, !done);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_GT(failed, 2) << name;
  }
}

// Takes the write lock as soon as it is free after somebody had it, and keeps it.
class Taker {
 public:
  Taker(const std::string &store, const std::string &folder)
      : folder_(open(folder.c_str(), O_RDONLY)), thread_([this, store] { take(store); }) {
    flock(folder_, LOCK_SH);  // as who waits: the others make a pause between their transactions
  }
  ~Taker() {
    stop_ = true;
    thread_.join();
    close(folder_);
  }
  bool has_it() const { return has_it_; }

 private:
  void take(const std::string &store) {
    sqlite3 *file = nullptr;
    sqlite3_open(store.c_str(), &file);
    for (bool busy = false; !stop_ && !has_it_;) {
      const bool got = sqlite3_exec(file, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == 0;
      if (got && busy) has_it_ = true;
      if (got && !busy) sqlite3_exec(file, "ROLLBACK", nullptr, nullptr, nullptr);
      if (!got) busy = true;
      std::this_thread::sleep_for(50us);
    }
    while (!stop_) std::this_thread::sleep_for(1ms);
    sqlite3_close(file);
  }

  int folder_;
  std::atomic<bool> stop_ = false, has_it_ = false;
  std::thread thread_;
};

TEST_F(WholeCall, ADeletionNeitherFailsNorWaitsForALockThatIsTakenBehindIt) {
  login_.bound = 2;
  const Connection connection(login_);
  const Taker taker(store_, folder_.path());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(erase_all(connection), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
  EXPECT_TRUE(taker.has_it());
  EXPECT_TRUE(connection.history(points_[0]).empty());
}

}  // namespace kelptest
