// The file is removed while the continuous writer uses it, and the writer goes on with what it
// finds there.
#include "fixture.h"

namespace kelptest {

class Removed : public FileTest {
 protected:
  // Rows that were written in the last seconds.
  bool has_new_rows() const {
    return sql(store_, "SELECT 1 FROM sample WHERE time >= strftime('%s') - 3 LIMIT 1") ==
           Lines{"1"};
  }
};

TEST_F(Removed, AFileDeletedIsMadeAnew) {
  const Program program(login_);
  ASSERT_TRUE(program.wait_for_output(kWriting, 10s));
  fs::remove(store_);
  EXPECT_TRUE(program.wait_for_output("kelp2_write_value error!\nconnect success!\n", 5s));
  // The old points are unknown there.
  EXPECT_TRUE(program.wait_for_output("write realvalue error!", 2.5s)) << program.output();
  expect_one_line(program.errors(), store_, "was deleted or replaced");
  EXPECT_FALSE(has_new_rows());
  expect_intact();
}

TEST_F(Removed, AFileReplacedIsWrittenTo) {
  const std::string other = folder_.path("other");
  make_store(other);  // with points of the same ids
  const Program program(login_);
  ASSERT_TRUE(program.wait_for_output(kWriting, 10s));
  for (const char *part : {"", "-wal", "-shm"}) fs::remove(store_ + part);
  fs::rename(other, store_);
  EXPECT_TRUE(program.wait_for_output("kelp2_write_value error!\nconnect success!\n", 5s));
  EXPECT_FALSE(program.wait_for_output("write realvalue error!", 2.5s)) << program.output();
  expect_one_line(program.errors(), store_, "was deleted or replaced");
  EXPECT_TRUE(has_new_rows());
  expect_intact();
}

}  // namespace kelptest
