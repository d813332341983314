// Memory that runs out in the middle of calls, and rows that no program of ours has written.
#include "fixture.h"

namespace kelptest {

// SQLite's memory, which is gone from the n-th allocation on.
class FailingMemory {
 public:
  FailingMemory() {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);  // which would stand in for the first ones
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &system_);
    sqlite3_mem_methods failing = system_;
    failing.xMalloc = [](int bytes) { return fails() ? nullptr : system_.xMalloc(bytes); };
    failing.xRealloc = [](void *old, int bytes) {
      return fails() ? nullptr : system_.xRealloc(old, bytes);
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &failing);
  }
  ~FailingMemory() {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_MALLOC, &system_);
  }
  static void fail_after(int64_t allocations) { left_ = allocations; }

 private:
  static bool fails() { return left_ == 0 || (--left_, false); }
  static inline sqlite3_mem_methods system_;
  static inline int64_t left_ = INT64_MAX;
};

using Memory = FileTest;

TEST_F(Memory, ACallThatRunsOutOfItChangesNothingAndTheNextOneWorks) {
  make_store(store_);
  const int32_t point = first_point();
  const FailingMemory memory;
  Rows rows;
  for (int32_t time = 0; time < 200; ++time) rows.push_back({time, 0, 0.5});
  int failed = 0;
  testing::internal::CaptureStderr();
  for (bool wrote = false; !wrote; failed += failed < 20 ? 1 : 10) {
    const Connection connection(login_);
    FailingMemory::fail_after(failed);
    wrote = connection.write_history(point, rows) == 0;
    FailingMemory::fail_after(INT64_MAX);
    EXPECT_EQ(connection.history(point, {0, 200}).size(), wrote ? 200u : 0u) << failed;
    ASSERT_EQ(connection.write_history(point, {{-1, 0, 1.5}}), 0) << failed;
    EXPECT_EQ(sql(store_, "BEGIN IMMEDIATE; ROLLBACK"), Lines()) << failed;
  }
  testing::internal::GetCapturedStderr();
  EXPECT_GT(failed, 50);
}

TEST_F(Memory, AFieldOfAnotherTypeIsToldWithItsStore) {
  make_store(store_);
  sql(store_, "UPDATE object SET fq = 'text', ed = x'00' WHERE kind = 8");
  const Connection connection(login_);
  testing::internal::CaptureStderr();
  int32_t count = 0;
  ObjectHandle *list = nullptr;
  EXPECT_EQ(kelp2_get_database(connection.handle(), &count, &list), -11);
  expect_one_line(testing::internal::GetCapturedStderr(), store_, "another type");
}

}  // namespace kelptest
