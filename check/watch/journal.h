// The file of a journal. One process writes it, whole lines only: what a full disk leaves of a line
// is taken back, and the line waits. Every process that has inherited the open file holds its lock,
// so that the next watch waits for a writer that still runs.
#pragma once

#include <functional>
#include <stdexcept>

#include "watch/journal_line.h"

namespace kelpcheck::watch {

// A journal that cannot be used, and why.
struct JournalProblem : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct JournalContents {
  bool has_head = false;
  JournalHead head;
  int64_t sound_bytes = 0;   // up to the end of the last line that is one
  int64_t broken_lines = 0;  // that are followed by sound ones
  int64_t first_broken = 0;  // the number of that line
};

class Journal {
 public:
  enum class Use { write, read };
  // Opens the file, for writing makes it if it is not there, and takes the lock: of one that is
  // written it waits up to `patience` seconds. Throws JournalProblem.
  Journal(const std::string &path, Use use, double patience);
  ~Journal();
  Journal(const Journal &) = delete;
  Journal &operator=(const Journal &) = delete;

  // Whether somebody else had the lock, which is no obstacle to reading.
  bool in_use() const { return in_use_; }

  // Reads it from its begin. Lines that are broken, or that `take` throws std::exception for, are
  // counted; one at the end is none. Throws JournalProblem where it is no journal.
  JournalContents read(const std::function<void(const JournalHead &)> &begin,
                       const std::function<void(const JournalLine &)> &take,
                       const std::function<void()> &broken) const;

  // Cuts off what lies behind the last sound line.
  void cut(int64_t bytes);
  // What was appended is on the disk when this returns true; otherwise it is kept, and written with
  // the next line. `problem()` says why.
  bool append(const std::string &line);
  bool flush();
  const std::string &problem() const { return problem_; }
  bool pending() const { return !waiting_.empty(); }

 private:
  void lock(Use use, double patience);
  void fail(const char *what);

  std::string path_;
  int file_ = -1;
  bool in_use_ = false;
  int64_t end_ = 0;  // of the sound lines
  std::string waiting_;
  std::string problem_;
};

}  // namespace kelpcheck::watch
