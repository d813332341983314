// The line on a terminal that shows the progress of a long demonstration.
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <sstream>

#include "demos/demos.h"
#include "driver/argument.h"
#include "driver/progress.h"
#include "driver/registry.h"
#include "fake.h"

namespace {

// A pseudo terminal, of which we hold both ends.
struct Terminal {
  int ours = -1;
  int theirs = -1;

  explicit Terminal(unsigned short columns) {
    const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    EXPECT_EQ(openpty(&ours, &theirs, nullptr, nullptr, &size), 0);
  }
  ~Terminal() {
    close(ours);
    if (theirs >= 0) close(theirs);
  }
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  // All of it, to be asked once: the kernel passes on late what was written, but before the end.
  std::string written() {
    close(theirs);
    theirs = -1;
    std::string text;
    char piece[4096];
    for (ssize_t size = 0; (size = read(ours, piece, sizeof piece)) > 0;) text.append(piece, size);
    return text;
  }
};

std::vector<std::string> split(const std::string &text, char separator) {
  std::istringstream stream(text);
  std::vector<std::string> pieces;
  for (std::string piece; std::getline(stream, piece, separator);) pieces.push_back(piece);
  return pieces;
}

// What a line of a terminal shows at first and after each carriage return, without trailing blanks.
std::vector<std::string> states(const std::string &written) {
  std::vector<std::string> all{""};
  std::string line;
  for (const std::string &piece : split(written, '\r')) {
    if (piece.empty()) continue;
    line.replace(0, std::min(piece.size(), line.size()), piece);
    all.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
  }
  return all;
}

struct Case {
  Demo demo;
  int points;
  unsigned short columns;
  fake::Script script;
};

// What the demonstration shows on standard output; `redirect` sends its streams elsewhere.
std::string play_demo(const Case &played, const std::function<void()> &redirect) {
  return fake::play(played.script, [&] {
    redirect();
    argument_.end_time = argument_.begin_time + 20;
    argument_.point_num = played.points;
    for (int i = 1; i <= played.points; ++i) {
      argument_.point_names.push_back("P" + std::to_string(i));
      argument_.point_ids.push_back(i);
    }
    run_demo(played.demo);
  });
}

std::string play_over(int standard_error, const Case &played) {
  return play_demo(played, [=] { dup2(standard_error, STDERR_FILENO); });
}

std::string play_quickly(Case played) {
  played.script.call_ms = 0;
  return play_demo(played, [] {});
}

const Demo write_history{write_hisvalue_byid_demo, "write_hisvalue_byid_demo", true};
const Demo read_history{get_hisvalue_byid_demo, "get_hisvalue_byid_demo", false};
const Demo fails_unseen{write_hisvalue_byid_demo, "write_hisvalue_byid_demo", false};

TEST(Progress, ShowsALineWhileADemonstrationWorksAndTakesItAway) {
  const struct {
    Case played;
    std::string begin, middle, end;  // of every line
  } cases[] = {
      {{write_history, 130, 200, {.call_ms = 10}},
       "write_hisvalue_byid_demo ",
       " of 130 points, ",
       " s left"},
      {{read_history, 70, 20, {.call_ms = 10}}, "", " of 70 points", ""},
      {{fails_unseen, 130, 80, {.results = {{"write_histroy_byid#125", 1}}, .call_ms = 10}},
       "write_hisvalue_byid_demo ",
       " of 130 points, ",
       " s left"},
  };
  for (const auto &[played, begin, middle, end] : cases) {
    Terminal terminal(played.columns);
    const auto started = std::chrono::steady_clock::now();
    const std::string output = play_over(terminal.theirs, played);
    const std::chrono::duration<double> worked = std::chrono::steady_clock::now() - started;

    const std::string written = terminal.written();
    for (const std::string &piece : split(written, '\r')) EXPECT_LT(piece.size(), played.columns);
    int lines = 0;
    for (const std::string &line : states(written)) {
      if (line.empty()) continue;
      ++lines;
      EXPECT_TRUE(line.starts_with(begin)) << line;
      EXPECT_NE(line.find(middle), std::string::npos) << line;
      EXPECT_TRUE(line.ends_with(end)) << line;
    }
    EXPECT_GE(lines, 1);
    EXPECT_LE(lines, (worked.count() - 1) * 10 + 1);
    EXPECT_EQ(states(written).back(), "");
    EXPECT_EQ(output, play_quickly(played));
  }
}

TEST(Progress, MakesRoomForWhatElseTheTerminalShows) {
  const Case played{
      write_history,
      130,
      80,
      {.entries = {{"write_histroy_byid#120", {-3}}, {"write_histroy_byid#121", {-3}}},
       .shows_calls = false,
       .call_ms = 10}};
  Terminal terminal(played.columns);
  play_demo(played, [&] {
    dup2(terminal.theirs, STDOUT_FILENO);
    dup2(terminal.theirs, STDERR_FILENO);
  });
  std::string shown;
  for (const std::string &line : split(terminal.written(), '\n'))
    shown += states(line).back() + "\n";
  EXPECT_EQ(shown, play_quickly(played));
}

// Plays a long demonstration in a process that gets a signal after a while; how that process ended.
int play_until_signal(int number, int standard_error, int wait_ms) {
  const pid_t child = fork();
  if (child == 0) {
    signal(number, SIG_DFL);  // a job in the background of a shell has SIGINT ignored
    dup2(standard_error, STDERR_FILENO);
    wipe_progress_on_signals();
    begin_progress("write_hisvalue_byid_demo");
    for (int32_t done = 0; done < 1000; ++done) {
      show_progress(done, 1000, "points");
      usleep(10'000);
    }
    _exit(0);
  }
  usleep(wait_ms * 1000);
  kill(child, number);
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

TEST(Progress, IsTakenAwayByASignalThatStillEndsTheProcess) {
  for (const int number : {SIGINT, SIGTERM}) {
    Terminal terminal(80);
    const int status = play_until_signal(number, terminal.theirs, 1500);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number) << status;
    const std::vector<std::string> lines = states(terminal.written());
    EXPECT_GT(lines.size(), 1u);
    EXPECT_EQ(lines.back(), "");
  }
  Terminal quick(80);
  const int status = play_until_signal(SIGINT, quick.theirs, 100);
  EXPECT_TRUE(WIFSIGNALED(status)) << status;
  EXPECT_EQ(quick.written(), "");
}

TEST(Progress, LeavesASignalAloneThatIsIgnored) {
  signal(SIGINT, SIG_IGN);
  wipe_progress_on_signals();
  raise(SIGINT);
  signal(SIGINT, SIG_DFL);
}

TEST(Progress, SaysNothingOfAQuickDemonstrationNorToAFile) {
  Terminal terminal(80);
  play_over(terminal.theirs, {write_history, 130, 80, {}});
  EXPECT_TRUE(terminal.written().empty());

  std::FILE *file = std::tmpfile();
  play_over(fileno(file), {write_history, 130, 80, {.call_ms = 10}});
  EXPECT_EQ(lseek(fileno(file), 0, SEEK_END), 0);
  std::fclose(file);
}

}  // namespace
