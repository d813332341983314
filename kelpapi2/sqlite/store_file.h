// The file of a store: made with its schema if it is new, refused if it is not ours, and watched,
// since SQLite itself does not notice when the file that it writes to is no longer the one there.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "sqlite/database.h"

namespace kelp::sqlite {

class StoreFile {
 public:
  // Opens the store, making it if there is no file or an empty one.
  StoreFile(const std::string &path, int wait_seconds, bool lazy_commits);

  Database &database() { return *database_; }
  // True while the path still leads to the file that was opened.
  bool in_place() const;
  // Throws kLost otherwise.
  void check_in_place() const;

 private:
  void prepare(int wait_seconds, bool lazy_commits);

  std::unique_ptr<Database> database_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace kelp::sqlite
