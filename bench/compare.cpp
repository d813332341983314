// Times runs of kelptest over different libraries and stores: runs them in turn, several rounds,
// takes the time of each banner as its line arrives, and kills a run at the first line of the
// continuous writer. Prints the median milliseconds per phase and how the first program relates to
// the others. Programs that show other banners, or store something else, are not compared.
//
//   compare ROUNDS PREPARE CHECK LABEL=COMMAND...
//
// PREPARE is a shell command run before every run, to remove what the last one stored. CHECK is one
// run after it, with the options of the COMMAND at its end, whose output says what is stored. A
// COMMAND is split at blanks and started without a shell. Rows of the shortest and the longest run
// show how much other load disturbed the figures; processor time hardly suffers from it, and leaves
// out what a server or the disk does.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Program {
  std::string label;
  std::vector<std::string> command;
  std::string options;                      // words of the command that begin with a hyphen
  std::vector<std::vector<double>> phases;  // milliseconds of each round
  std::vector<double> whole;
  std::vector<double> processor;  // milliseconds of its own work
  std::vector<double> memory;     // peak, in MiB
};

[[noreturn]] void die(const std::string &message) {
  std::fprintf(stderr, "compare: %s\n", message.c_str());
  std::exit(1);
}

double now() {
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double, std::milli>(time).count();
}

double milliseconds(const timeval &time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
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

// What every run must have in common with the first one.
template <typename T>
void check_same(std::optional<T> &first, const T &own, const std::string &complaint) {
  if (!first) first = own;
  if (*first != own) die(complaint);
}

// The text in a banner "-----7. name-----"; nothing for any other line.
std::string banner(const std::string &line) {
  const size_t begin = line.find_first_not_of('-');
  if (line[0] != '-' || begin == line.npos) return "";
  return line.substr(begin, line.find('-', begin) - begin);
}

// The banners up to the first line of the continuous writer, and when each came.
struct Phases {
  std::vector<std::string> banners;
  std::vector<double> began;
  bool complete = false;
};

Phases read_phases(FILE *output) {
  Phases phases;
  for (char line[512]; !phases.complete && std::fgets(line, sizeof line, output) != nullptr;) {
    const double time = now();
    phases.complete = std::strncmp(line, "I'm writing realvalue", 21) == 0;
    const std::string text = banner(line);
    if (text.empty()) continue;
    phases.banners.push_back(text);
    phases.began.push_back(time);
  }
  return phases;
}

void run(Program &program, std::optional<std::vector<std::string>> &names) {
  const double started = now();
  pid_t pid = 0;
  FILE *output = start(program, pid);
  const Phases phases = read_phases(output);
  program.whole.push_back(now() - started);
  kill(pid, SIGKILL);
  struct rusage usage = {};
  wait4(pid, nullptr, 0, &usage);
  program.processor.push_back(milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime));
  program.memory.push_back(static_cast<double>(usage.ru_maxrss) / 1024);
  std::fclose(output);
  if (!phases.complete) die(program.label + " ended before its continuous writer");
  check_same(names, phases.banners, program.label + " shows other banners than the run before it");
  program.phases.resize(names->size() - 1);
  for (size_t i = 0; i + 1 < names->size(); ++i) {
    program.phases[i].push_back(phases.began[i + 1] - phases.began[i]);
  }
}

// What the command prints, on one line or several.
std::string output_of(const std::string &command) {
  FILE *output = popen(command.c_str(), "r");
  if (output == nullptr) die("no process");
  std::string text;
  for (int c = std::getc(output); c != EOF; c = std::getc(output)) text += static_cast<char>(c);
  if (pclose(output) != 0) die("failed: " + command);
  return text;
}

Program parse(const std::string &text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos) die("no label in \"" + text + "\"");
  Program program;
  program.label = text.substr(0, equals);
  std::istringstream words(text.substr(equals + 1));
  for (std::string word; words >> word;) {
    program.command.push_back(word);
    if (word[0] == '-') program.options += " " + word;
  }
  return program;
}

void print_row(const std::string &name, const std::vector<double> &figures) {
  std::printf("%-34s %10.1f", name.c_str(), figures[0]);
  for (size_t i = 1; i < figures.size(); ++i) {
    std::printf(" %12.1f %7.3f", figures[i], figures[0] / figures[i]);
  }
  std::printf("\n");
}

void print_table(const std::vector<Program> &programs, const std::vector<std::string> &names) {
  std::printf("%-34s %10s", "median ms", programs[0].label.c_str());
  for (size_t i = 1; i < programs.size(); ++i) {
    std::printf(" %12s %7s", programs[i].label.c_str(), "ratio");
  }
  std::printf("\n");
  std::vector<double> short_phases(programs.size());
  for (size_t phase = 0; phase + 1 < names.size(); ++phase) {
    std::vector<double> figures;
    for (const Program &program : programs) figures.push_back(median(program.phases[phase]));
    if (*std::max_element(figures.begin(), figures.end()) >= 1) {
      print_row(names[phase], figures);
    } else {
      for (size_t i = 0; i < figures.size(); ++i) short_phases[i] += figures[i];
    }
  }
  print_row("phases below 1 ms", short_phases);
  std::vector<double> whole, shortest, longest, processor, memory;
  for (const Program &program : programs) {
    whole.push_back(median(program.whole));
    shortest.push_back(*std::min_element(program.whole.begin(), program.whole.end()));
    longest.push_back(*std::max_element(program.whole.begin(), program.whole.end()));
    processor.push_back(median(program.processor));
    memory.push_back(median(program.memory));
  }
  print_row("whole run", whole);
  print_row("whole run, shortest", shortest);
  print_row("whole run, longest", longest);
  print_row("whole run, processor time", processor);
  print_row("peak memory, MiB", memory);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 5 || std::atoi(argv[1]) < 1)
    die("usage: compare ROUNDS PREPARE CHECK LABEL=COMMAND...");
  std::vector<Program> programs;
  for (int i = 4; i < argc; ++i) programs.push_back(parse(argv[i]));
  std::optional<std::vector<std::string>> names;
  std::optional<std::string> stored;
  for (int round = 0; round < std::atoi(argv[1]); ++round) {
    // Each round starts with another program: what one leaves to the disk burdens the next.
    for (size_t i = 0; i < programs.size(); ++i) {
      Program &program = programs[(round + i) % programs.size()];
      output_of(argv[2]);
      run(program, names);
      const std::string own = output_of(argv[3] + program.options);
      check_same(stored, own,
                 program.label + " stored " + own + "and the run before it " + stored.value_or(""));
    }
  }
  print_table(programs, *names);
  if (!stored->empty()) std::printf("stored by each run: %s", stored->c_str());
  return 0;
}
