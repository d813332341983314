// The file of a store, open: made with its schema if it is new, refused if it is not ours, and
// watched together with the two files beside it, since SQLite itself does not notice when what it
// writes to is no longer what is there.
#pragma once

#include <memory>
#include <string>

#include "sqlite/database.h"
#include "sqlite/store_path.h"

namespace kelp::sqlite {

class StoreFile {
 public:
  // Opens the store, making it if there is no file or an empty one.
  StoreFile(const std::string &path, int wait_seconds, bool lazy_commits);
  ~StoreFile();
  StoreFile(const StoreFile &) = delete;
  StoreFile &operator=(const StoreFile &) = delete;

  Database &database() { return *database_; }
  const std::string &path() const { return database_->path(); }
  // Between transactions: throws kLost if the paths do not lead to the files that were opened any
  // more, or if a transaction could not be ended. The files are let go of then, so that this
  // process can open those that are there now.
  void check();
  // Lets the files go as well if nobody can know whether it took effect.
  void commit(Transaction &transaction);

 private:
  bool in_place() const;
  void prepare(int wait_seconds, bool lazy_commits);
  void let_go();

  std::unique_ptr<Database> database_;
  StoreFiles files_;
  OwningProcess process_;
};

}  // namespace kelp::sqlite
