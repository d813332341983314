// Another program holds the write lock of the file.
#include "fixture.h"

namespace kelptest {

class Locked : public FileTest {
 protected:
  void SetUp() override { make_store(store_); }
  void hold() {
    holder_ = database(store_);
    sqlite3_exec(holder_.get(), "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    ASSERT_EQ(sqlite3_get_autocommit(holder_.get()), 0);
  }
  std::shared_ptr<sqlite3> holder_;
};

TEST_F(Locked, AWriteWaitsForItsBoundAndReadingGoesOn) {
  login_.bound = 1;
  const Connection connection(login_);
  const Ids ids{first_point()};
  hold();
  const auto begin = std::chrono::steady_clock::now();
  testing::internal::CaptureStderr();
  EXPECT_NE(connection.write_value(ids, {{5, 0, 1.5}}), Codes{0});
  expect_one_line(testing::internal::GetCapturedStderr(), store_, "held it too long");
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_TRUE(waited > 0.9s && waited < 5s);
  EXPECT_TRUE(connection.current(ids)[0].has_value());
  holder_.reset();
  EXPECT_EQ(connection.write_value(ids, {{5, 0, 1.5}}), Codes{0});
}

// Its log cannot be begun anew before that program ends, however long it becomes.
TEST_F(Locked, AWriteDoesNotWaitForAProgramThatReadsForLong) {
  const Connection connection(login_, kDoNotWait);
  const Ids points = connection.make_points(100);
  holder_ = database(store_);
  sqlite3_exec(holder_.get(), "BEGIN; SELECT count(*) FROM object", nullptr, nullptr, nullptr);
  constexpr uintmax_t long_log = 36 << 20;
  std::chrono::steady_clock::duration longest{};
  for (int32_t time = 0; fs::file_size(store_ + "-wal") < long_log; time += 400) {
    Ids ids;
    Rows rows;
    for (int32_t i = 0; i < 40'000; ++i) {
      ids.push_back(points[i % 100]);
      rows.push_back({time + i / 100, 0, i + 0.5});
    }
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(first_failure(connection.write_cache(ids, rows)), 0);
    longest = std::max(longest, std::chrono::steady_clock::now() - begin);
  }
  EXPECT_LT(longest, 5s) << "of a bound of " << login_.bound << " s";
}

TEST_F(Locked, TheProgramWaitsForTheFile) {
  hold();
  const Program program(login_);
  EXPECT_FALSE(program.wait_for_output("delete_point_node_demo success!", 2.5s));
  holder_.reset();
  EXPECT_TRUE(program.wait_for_output(kWriting, 10s)) << program.output() << program.errors();
  EXPECT_EQ(program.errors(), "");
}

}  // namespace kelptest
