// Times programs that print kelptest's banners: runs them in turn, several rounds, takes the time
// of each banner as its line arrives, and kills a program at the first line of the continuous
// writer. Prints the median milliseconds per phase and how the first program relates to the others.
//
//   compare ROUNDS PREPARE LABEL=COMMAND...
//
// PREPARE is a shell command run before every run, to remove what the last one stored. A COMMAND is
// split at blanks and started without a shell. Rows of the shortest and the longest run show how
// much other load disturbed the figures.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Program {
  std::string label;
  std::vector<std::string> command;
  std::map<int, std::vector<double>> phases;  // milliseconds of each round, by number
  std::vector<double> whole;
  std::vector<double> memory;  // peak, in MiB
};

std::map<int, std::string> names;  // of the phases

[[noreturn]] void die(const std::string &message) {
  std::fprintf(stderr, "compare: %s\n", message.c_str());
  std::exit(1);
}

double now() {
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double, std::milli>(time).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

FILE *start(const Program &program, pid_t &pid) {
  int ends[2];
  if (pipe(ends) != 0) die("no pipe");
  pid = fork();
  if (pid < 0) die("no process");
  if (pid == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    std::vector<char *> words;
    for (const std::string &word : program.command)
      words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);
    execvp(words[0], words.data());
    std::perror(words[0]);
    _exit(127);
  }
  close(ends[1]);
  return fdopen(ends[0], "r");
}

// The number in a banner "-----7. name-----", whose name is kept; 0 for any other line.
int banner(const char *line) {
  int number = 0;
  char name[128];
  if (line[0] != '-' || std::sscanf(line, "%*[-]%d. %127[^-\n]", &number, name) != 2) return 0;
  names[number] = name;
  return number;
}

void run(Program &program) {
  const double started = now();
  pid_t pid = 0;
  FILE *output = start(program, pid);
  int phase = 0;
  double since = 0;
  bool complete = false;
  for (char line[512]; !complete && std::fgets(line, sizeof line, output) != nullptr;) {
    const double time = now();
    complete = std::strncmp(line, "I'm writing realvalue", 21) == 0;
    const int next = complete ? 0 : banner(line);
    if (next == 0 && !complete) continue;
    if (phase != 0) program.phases[phase].push_back(time - since);
    phase = next;
    since = time;
  }
  program.whole.push_back(now() - started);
  kill(pid, SIGKILL);
  struct rusage usage = {};
  wait4(pid, nullptr, 0, &usage);
  program.memory.push_back(static_cast<double>(usage.ru_maxrss) / 1024);
  std::fclose(output);
  if (!complete) die(program.label + " ended before its continuous writer");
}

void print_row(const std::string &name, const std::vector<double> &figures) {
  std::printf("%-34s %10.1f", name.c_str(), figures[0]);
  for (size_t i = 1; i < figures.size(); ++i) {
    std::printf(" %12.1f %7.3f", figures[i], figures[0] / figures[i]);
  }
  std::printf("\n");
}

void print_table(const std::vector<Program> &programs) {
  std::printf("%-34s %10s", "median ms", programs[0].label.c_str());
  for (size_t i = 1; i < programs.size(); ++i) {
    std::printf(" %12s %7s", programs[i].label.c_str(), "ratio");
  }
  std::printf("\n");
  std::vector<double> short_phases(programs.size());
  for (const auto &[number, name] : names) {
    std::vector<double> figures;
    for (const Program &program : programs) figures.push_back(median(program.phases.at(number)));
    if (*std::max_element(figures.begin(), figures.end()) >= 1) {
      print_row(std::to_string(number) + ". " + name, figures);
    } else {
      for (size_t i = 0; i < figures.size(); ++i) short_phases[i] += figures[i];
    }
  }
  print_row("phases below 1 ms", short_phases);
  std::vector<double> whole, shortest, longest, memory;
  for (const Program &program : programs) {
    whole.push_back(median(program.whole));
    shortest.push_back(*std::min_element(program.whole.begin(), program.whole.end()));
    longest.push_back(*std::max_element(program.whole.begin(), program.whole.end()));
    memory.push_back(median(program.memory));
  }
  print_row("whole run", whole);
  print_row("whole run, shortest", shortest);
  print_row("whole run, longest", longest);
  print_row("peak memory, MiB", memory);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 4 || std::atoi(argv[1]) < 1) die("usage: compare ROUNDS PREPARE LABEL=COMMAND...");
  std::vector<Program> programs;
  for (int i = 3; i < argc; ++i) {
    const std::string text = argv[i];
    const size_t equals = text.find('=');
    if (equals == std::string::npos) die("no label in \"" + text + "\"");
    Program &program = programs.emplace_back();
    program.label = text.substr(0, equals);
    std::istringstream words(text.substr(equals + 1));
    for (std::string word; words >> word;) program.command.push_back(word);
  }
  for (int round = 0; round < std::atoi(argv[1]); ++round) {
    // Each round starts with another program: what one leaves to the disk burdens the next.
    for (size_t i = 0; i < programs.size(); ++i) {
      Program &program = programs[(round + i) % programs.size()];
      if (std::system(argv[2]) != 0) die(std::string("failed: ") + argv[2]);
      run(program);
    }
  }
  print_table(programs);
  return 0;
}
