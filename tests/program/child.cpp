// The functions of the C library that are defined here take the place of its own in the tests.
#include "child.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

unsigned seed = 0;

static std::time_t clock_time = start_time;

extern "C" {
std::time_t time(std::time_t *) noexcept { return clock_time; }
void srand(unsigned value) noexcept { seed = value; }
int rand() noexcept {
  static int draw = -1;
  ++draw;
  return 32768 * (draw % 3) + 1000 * draw;
}
unsigned sleep(unsigned seconds) {
  std::printf(">sleep(%u)\n", seconds);
  clock_time += seconds + 1;
  if (--fake::script.sleeps > 0) return 0;
  fake::report_leaks();
  std::exit(0);
}
// A child that ends in the middle leaves memory behind on purpose.
const char *__asan_default_options() { return "detect_leaks=0"; }
}

std::string play(const fake::Script &script, const std::function<void()> &body) {
  constexpr unsigned longest_run = 60;
  std::FILE *output = std::tmpfile();
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(output), STDOUT_FILENO);
    alarm(longest_run);
    fake::script = script;
    body();
    fake::report_leaks();
    std::puts(">returned");
    std::exit(0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "the process failed";
  std::string text;
  std::rewind(output);
  for (int c = std::getc(output); c != EOF; c = std::getc(output)) text += static_cast<char>(c);
  std::fclose(output);
  return text;
}
