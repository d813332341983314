// The file of a store: made with its schema if it is new, refused if it is not ours, and watched,
// since SQLite itself does not notice when the file that it writes to is no longer the one there.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <utility>

#include "sqlite/database.h"

namespace kelp::sqlite {

class StoreFile {
 public:
  // Opens the store, making it if there is no file or an empty one.
  StoreFile(const std::string &path, int wait_seconds, bool lazy_commits);

  Database &database() { return *database_; }
  // True while the paths still lead to the file that was opened and to its write-ahead log.
  bool in_place() const;
  // Throws kLost otherwise.
  void check_in_place() const;

 private:
  // What tells a file from any other.
  using Identity = std::pair<dev_t, ino_t>;
  static Identity identity_of(const std::string &path);

  void prepare(int wait_seconds, bool lazy_commits);

  std::unique_ptr<Database> database_;
  std::string log_path_;
  Identity file_;
  Identity log_;
};

}  // namespace kelp::sqlite
