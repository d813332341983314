// Nothing is written to a file before it is known to be empty or ours. Several programs may make
// the same store at once: the schema is made under the write lock and looked for again there.
#include "sqlite/store_file.h"

#include <chrono>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "sqlite/schema.h"

namespace kelp::sqlite {

namespace {

// The stores that this process has open, or had when it was forked. All its connections to one file
// share what SQLite keeps in memory of it: one whose files were removed would spoil every other,
// and so would one of before the fork, with locks that this process does not have.
class OpenFiles {
 public:
  // Throws kLost if the file is open here with other companions than those that are there now, or
  // was when this process was forked.
  void check(const std::string &path) {
    const StoreFiles now(path);
    const std::lock_guard lock(mutex_);
    for (const auto &[user, files, process] : files_) {
      if (files.file != now.file) continue;
      if (!process.is_current()) {
        throw Failure(kLost, "store " + path +
                                 ": this process was forked while it was open, and cannot use it;"
                                 " a program that it starts can");
      }
      if (files == now) continue;
      throw Failure(kLost, "store " + path +
                               ": this program has it open since before its -wal or"
                               " -shm was removed, and must use or close that connection first");
    }
  }
  void add(const StoreFile *user, const StoreFiles &files) {
    const std::lock_guard lock(mutex_);
    files_.push_back({user, files});
  }
  void remove(const StoreFile *user) {
    const std::lock_guard lock(mutex_);
    std::erase_if(files_, [user](const OpenFile &file) {
      return file.user == user && file.process.is_current();
    });
  }

 private:
  struct OpenFile {
    const StoreFile *user;
    StoreFiles files;
    OwningProcess process = {};
  };
  std::mutex mutex_;
  std::vector<OpenFile> files_;
};

OpenFiles open_files;

// The switch to WAL is the one lock that SQLite's own waiting does not cover.
void switch_to_wal(Database &database, int wait_seconds) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::seconds(wait_seconds);
  for (;;) {
    try {
      database.statement("PRAGMA journal_mode = WAL").run();
      return;
    } catch (const Failure &failure) {
      if (failure.code() != kTimedOut || Clock::now() >= deadline) throw;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

StoreFile::StoreFile(const std::string &given, int wait_seconds, bool lazy_commits) {
  const std::string path = prepare_path(given);
  open_files.check(path);
  const FileIdentity file = identity_of(path);
  database_ = std::make_unique<Database>(path, wait_seconds);
  prepare(wait_seconds, lazy_commits);
  // SQLite opens its own files with the first transaction, and keeps them open.
  has_schema(*database_);
  files_ = StoreFiles(path);
  if (files_.file != file) files_.file = {};
  open_files.add(this, files_);
  check();
}

StoreFile::~StoreFile() {
  if (!process_.is_current()) return;
  open_files.remove(this);
  if (database_->is_open() && !in_place()) database_->let_go();
}

void StoreFile::prepare(int wait_seconds, bool lazy_commits) {
  const bool made = has_schema(*database_);
  database_->merge_log_on_close(true);
  if (database_->read_only()) database_->fail(kDenied, "the file cannot be written");
  switch_to_wal(*database_, wait_seconds);
  // Without NORMAL's few syncs a crash could damage the whole store, with all that others wrote.
  database_->execute(lazy_commits ? "PRAGMA synchronous = NORMAL" : "PRAGMA synchronous = FULL");
  database_->execute("PRAGMA cache_size = -16384");            // KiB
  database_->execute("PRAGMA temp_store = MEMORY");            // no files elsewhere
  database_->execute("PRAGMA journal_size_limit = 67108864");  // bytes left after a large call
  if (made) return;

  Transaction transaction(*database_, Transaction::Kind::write);
  if (!has_schema(*database_)) create_schema(*database_);
  transaction.commit();
}

bool StoreFile::in_place() const {
  std::error_code error;
  const auto size = std::filesystem::file_size(database_->path(), error);
  return !error && size > 0 && StoreFiles(database_->path()) == files_;
}

void StoreFile::check() {
  if (!database_->is_open()) throw Failure(kLost);  // which was told
  database_->roll_back();
  const bool stuck = database_->in_transaction();
  if (in_place() && !stuck) return;
  let_go();
  database_->fail(kLost, stuck ? "a transaction could not be ended"
                               : "the file, its -wal or its -shm was deleted or replaced while it"
                                 " was open");
}

void StoreFile::commit(Transaction &transaction) {
  try {
    transaction.commit();
  } catch (const Failure &failure) {
    if (failure.code() == kLost) let_go();
    throw;
  }
}

void StoreFile::let_go() {
  open_files.remove(this);
  database_->let_go();
}

}  // namespace kelp::sqlite
