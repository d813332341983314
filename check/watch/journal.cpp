#include "watch/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace kelpcheck::watch {

namespace {

constexpr size_t kLongestLine = 16 << 20;  // bytes: the failed points of a call are in one line
constexpr auto kLockPause = std::chrono::milliseconds(20);
const std::string kHeadBegin = R"({"form":"kelpcheck journal")";

// The lines of a file, one at a time.
class Lines {
 public:
  explicit Lines(int file) : file_(file) {}

  // False at the end; `complete` tells whether the line had an end of its own.
  bool next(std::string &line, bool &complete) {
    size_t end = 0;
    while ((end = buffer_.find('\n', searched_)) == std::string::npos) {
      searched_ = buffer_.size();
      if (buffer_.size() > kLongestLine || !fill()) break;
    }
    complete = end != std::string::npos;
    line = buffer_.substr(begin_, (complete ? end : buffer_.size()) - begin_);
    begin_ = complete ? end + 1 : buffer_.size();
    searched_ = begin_;
    return complete || !line.empty();
  }

 private:
  bool fill() {
    buffer_.erase(0, begin_);
    begin_ = 0;
    searched_ = buffer_.size();
    char bytes[65536];
    const ssize_t n = pread(file_, bytes, sizeof bytes, offset_);
    if (n < 0) throw JournalProblem(std::string("cannot read it: ") + std::strerror(errno));
    buffer_.append(bytes, static_cast<size_t>(n));
    offset_ += n;
    return n > 0;
  }

  int file_;
  off_t offset_ = 0;
  std::string buffer_;
  size_t begin_ = 0, searched_ = 0;
};

}  // namespace

Journal::Journal(const std::string &path, Use use, double patience) : path_(path) {
  const int flags = use == Use::write ? O_RDWR | O_CREAT : O_RDONLY;
  file_ = open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
  if (file_ < 0) throw JournalProblem("cannot open " + path + ": " + std::strerror(errno));
  try {
    struct stat facts {};
    if (fstat(file_, &facts) != 0 || !S_ISREG(facts.st_mode)) {
      throw JournalProblem(path + " is not a plain file");
    }
    lock(use, patience);
  } catch (...) {
    close(file_);
    throw;
  }
}

Journal::~Journal() { close(file_); }

void Journal::lock(Use use, double patience) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(patience);
  while (flock(file_, (use == Use::write ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) fail("cannot lock it");
    in_use_ = true;
    if (use == Use::read) return;
    if (std::chrono::steady_clock::now() > deadline) {
      throw JournalProblem("another kelpcheck has " + path_ + ": its watch goes on");
    }
    std::this_thread::sleep_for(kLockPause);
  }
  in_use_ = false;
}

void Journal::fail(const char *what) {
  throw JournalProblem(path_ + ": " + what + ": " + std::strerror(errno));
}

JournalContents Journal::read(const std::function<void(const JournalHead &)> &begin,
                              const std::function<void(const JournalLine &)> &take,
                              const std::function<void()> &broken) const {
  JournalContents contents;
  Lines lines(file_);
  std::string line;
  bool complete = false;
  if (!lines.next(line, complete)) return contents;
  const bool torn_head = !complete && kHeadBegin.starts_with(line.substr(0, kHeadBegin.size()));
  if (torn_head) return contents;
  try {
    contents.head = parse_head(line);
  } catch (const std::exception &error) {
    throw JournalProblem(path_ + " cannot be used: " + error.what());
  }
  begin(contents.head);
  contents.has_head = true;
  contents.sound_bytes = static_cast<int64_t>(line.size()) + 1;
  int64_t bytes = contents.sound_bytes;
  int64_t number = 1, unsure = 0;
  while (lines.next(line, complete)) {
    ++number;
    bytes += static_cast<int64_t>(line.size()) + 1;
    try {
      if (!complete) throw JournalProblem("torn");
      const JournalLine parsed = parse_line(line);
      if (unsure > 0) broken();
      contents.broken_lines += unsure;
      unsure = 0;
      take(parsed);
      contents.sound_bytes = bytes;
    } catch (const std::exception &) {
      if (contents.broken_lines + unsure == 0) contents.first_broken = number;
      ++unsure;
    }
  }
  return contents;
}

void Journal::cut(int64_t bytes) {
  if (ftruncate(file_, bytes) != 0) fail("cannot cut off its last line");
  end_ = bytes;
}

bool Journal::append(const std::string &line) {
  waiting_ += line + "\n";
  return flush();
}

bool Journal::flush() {
  while (!waiting_.empty()) {
    const ssize_t n = pwrite(file_, waiting_.data(), waiting_.size(), end_);
    if (n < 0 && errno == EINTR) continue;
    if (n != static_cast<ssize_t>(waiting_.size())) {
      problem_ = std::strerror(n < 0 ? errno : ENOSPC);
      if (n > 0 && ftruncate(file_, end_) != 0) problem_ += ", and a line is torn";
      return false;
    }
    end_ += n;
    waiting_.clear();
  }
  if (fdatasync(file_) != 0) {
    problem_ = std::strerror(errno);
    return false;
  }
  problem_.clear();
  return true;
}

}  // namespace kelpcheck::watch
