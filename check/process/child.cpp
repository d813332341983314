#include "process/child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <system_error>

#include "process/signals.h"
#include "result/clock.h"

namespace kelpcheck {

namespace {

struct Pipe {
  int read_end, write_end;
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
      throw std::system_error(errno, std::generic_category(), "pipe");
    read_end = ends[0];
    write_end = ends[1];
    fcntl(read_end, F_SETFL, O_NONBLOCK);
  }
};

void write_all(int descriptor, const std::string &bytes) {
  for (size_t sent = 0; sent < bytes.size();) {
    const ssize_t n = write(descriptor, bytes.data() + sent, bytes.size() - sent);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) _exit(1);  // the parent is gone
    sent += static_cast<size_t>(n);
  }
}

// Reads what there is without waiting.
std::string read_available(int descriptor) {
  std::string bytes;
  char buffer[16384];
  for (ssize_t n; (n = read(descriptor, buffer, sizeof buffer)) > 0;) {
    bytes.append(buffer, static_cast<size_t>(n));
  }
  return bytes;
}

[[noreturn]] void be_child(pid_t parent, int records, int output,
                           const std::function<int(RecordPipe)> &work) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  const sigset_t set = watched_signals();
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  try {
    _exit(work(RecordPipe(records)));
  } catch (const std::exception &error) {
    write_all(STDERR_FILENO, std::string(error.what()) + "\n");
  }
  _exit(1);
}

}  // namespace

void RecordPipe::send(const std::string &line) const { write_all(descriptor_, line + "\n"); }

Child::Child(const std::function<int(RecordPipe)> &work) {
  const Pipe records, output;
  records_ = records.read_end;
  output_ = output.read_end;
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ == 0) be_child(parent, records.write_end, output.write_end, work);
  close(records.write_end);
  close(output.write_end);
}

Child::~Child() {
  if (!ended()) kill();
  for (const int64_t start = now_ns(); !ended() && seconds_since(start) < kKillPatience;) {
    wait_readable({}, 10);
  }
  close(records_);
  close(output_);
}

std::vector<std::string> Child::take_records() {
  line_ += read_available(records_);
  std::vector<std::string> lines;
  size_t begin = 0;
  for (size_t end; (end = line_.find('\n', begin)) != std::string::npos; begin = end + 1) {
    lines.push_back(line_.substr(begin, end - begin));
  }
  line_.erase(0, begin);
  return lines;
}

std::string Child::take_output() { return read_available(output_); }

bool Child::ended() {
  if (!ended_) ended_ = waitpid(pid_, &status_, WNOHANG) == pid_;
  return ended_;
}

void Child::kill() const {
  if (!ended_) ::kill(pid_, SIGKILL);
}

void wait_readable(const std::vector<int> &descriptors, int milliseconds) {
  std::vector<pollfd> events;
  for (const int descriptor : descriptors) events.push_back({descriptor, POLLIN, 0});
  poll(events.data(), events.size(), milliseconds);
}

}  // namespace kelpcheck
