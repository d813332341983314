// Allocations that fail: the program's own end it with a clear line, the library's are a failed
// call like any other. Sanitizers end a process themselves where memory runs out, so this is about
// the plain program.
#include <gtest/gtest.h>

#include "support/process.h"
#include "support/required.h"

namespace kelptest {

using namespace std::chrono_literals;

class OutOfMemory : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_OR_SKIP(std::filesystem::exists(PLAIN_PROGRAM), "no " PLAIN_PROGRAM);
  }
};

// Sixty-eight years in steps of ten seconds are a block of 3 GB.
TEST_F(OutOfMemory, InTheProgramEndsItWithOneLine) {
  const TempFolder folder;
  Process program({"prlimit", "--as=500000000", PLAIN_PROGRAM, "-Hfile:" + folder.path("store"),
                   "-X0", "-B197001010000", "-E203801010000"});
  EXPECT_EQ(program.wait(20s), 0);
  EXPECT_EQ(program.errors(), "kelptest: out of memory; ask for fewer points, nodes or samples\n");
}

TEST_F(OutOfMemory, InTheLibraryIsAFailedCall) {
  Process program({PLAIN_PROGRAM}, {"LD_LIBRARY_PATH=" OUT_OF_MEMORY_LIBRARY});
  EXPECT_EQ(program.wait(20s), 0);
  EXPECT_TRUE(program.output().ends_with("connect error!\n")) << program.output();
  EXPECT_EQ(program.errors(), "");
}

}  // namespace kelptest
