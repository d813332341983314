// What the program does with its command line before the first demonstration.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/process.h"

namespace kelptest {

using namespace std::chrono_literals;

TEST(CommandLine, IsAnsweredWithAHintWhenItIsRejected) {
  Process program({KELPTEST_PROGRAM, "-C8200", "-Q1"});
  EXPECT_EQ(program.wait(5s), 0);
  EXPECT_EQ(program.output(), "please input \"kelptest --help\" for help!\n");
}

TEST(CommandLine, DoesNotShowThePasswordInTheListOfProcesses) {
  const TempFolder folder;
  const Process program(
      {KELPTEST_PROGRAM, "-Psecret", "-Hfile:" + folder.path("store"), "-psecret", "-X3"});
  ASSERT_TRUE(program.wait_for_output("connect success!", 10s)) << program.errors();
  std::ostringstream arguments;
  arguments << std::ifstream("/proc/" + std::to_string(program.pid()) + "/cmdline").rdbuf();
  EXPECT_EQ(arguments.str().find("secret"), std::string::npos) << arguments.str();
  EXPECT_NE(arguments.str().find("-X3"), std::string::npos) << arguments.str();
}

}  // namespace kelptest
