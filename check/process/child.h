// A child process in which the library is called: there it may hang, crash or end the process. The
// child dies with its parent. It sends records, lines of text, through a pipe of its own, while
// whatever the library prints on standard output and error is captured apart from them.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace kelpcheck {

inline constexpr double kKillPatience = 5;  // seconds for a killed process to end

// The child's end of the pipe of records.
class RecordPipe {
 public:
  explicit RecordPipe(int descriptor) : descriptor_(descriptor) {}
  // Sends one line, without its end; it holds no line end. Does not return when the parent is gone.
  void send(const std::string &line) const;

 private:
  int descriptor_;
};

class Child {
 public:
  // Starts a process that does `work` and ends with the status that it returns; an exception that
  // leaves `work` is status 1, with its text in the captured output. The process has a group of its
  // own, so that a Ctrl-C is the parent's to deal with, and gets SIGKILL when the parent's thread
  // ends. Throws std::system_error.
  explicit Child(const std::function<int(RecordPipe records)> &work);
  // Kills it if it still runs, and waits 5 s for that to have happened.
  ~Child();
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  pid_t pid() const { return pid_; }
  // To be polled: readable when there are records, or printed text, or the end of either.
  int records() const { return records_; }
  int output() const { return output_; }
  // None of these waits. Lines that have come to their end; what was printed before a record was
  // sent can be taken once the record has been.
  std::vector<std::string> take_records();
  std::string take_output();
  // Whether it has ended. It is reaped by this; what it sent and printed can still be taken.
  bool ended();
  // The status of waitpid(2), once it has ended; CallBoard::end_text puts it in words.
  int status() const { return status_; }
  // SIGKILL. A process that hangs in the kernel may take its time to end, or never do so.
  void kill() const;

 private:
  pid_t pid_ = -1;
  int records_ = -1, output_ = -1;
  std::string line_;  // of a record that has not come to its end
  bool ended_ = false;
  int status_ = 0;
};

// Waits until one of these descriptors is readable, at most that long.
void wait_readable(const std::vector<int> &descriptors, int milliseconds);

}  // namespace kelpcheck
