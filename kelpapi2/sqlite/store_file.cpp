// Nothing is written to a file before it is known to be empty or ours. Several programs may make
// the same store at once: the schema is made under the write lock and looked for again there.
#include "sqlite/store_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "sqlite/schema.h"

namespace kelp::sqlite {

namespace {

[[noreturn]] void fail_with_errno(const std::string &path, int error) {
  const ResultCode code = error == ENOSPC ? kStorageFull : kDenied;
  throw Failure(code, "store " + path + ": " + std::strerror(error));
}

// Makes an empty file that only its owner can read. A file that exists is not even opened: closing
// it again would drop the locks that this process holds on it through SQLite.
void create_if_missing(const std::string &path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file >= 0) {
    close(file);
  } else if (errno != EEXIST) {
    fail_with_errno(path, errno);
  }
}

void check_kind(const std::string &path) {
  constexpr off_t smallest_database = 512;
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) fail_with_errno(path, errno);
  if (!S_ISREG(status.st_mode)) throw Failure(kDenied, "store " + path + ": not a file");
  // SQLite would take a file of one byte for an empty one.
  if (status.st_size > 0 && status.st_size < smallest_database) {
    throw Failure(kForeignStore, "store " + path + ": file is not a database");
  }
  const std::string folder = std::filesystem::path(path).parent_path().string();
  if (access(folder.c_str(), W_OK) != 0) {
    throw Failure(kDenied, "store " + path + ": its directory cannot be written");
  }
}

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

StoreFile::StoreFile(const std::string &path, int wait_seconds, bool lazy_commits) {
  if (path.empty()) throw Failure(kInvalidArgument, "store: the host \"file:\" names no file");
  std::error_code error;
  const std::string absolute = std::filesystem::absolute(path, error).string();
  if (error) fail_with_errno(path, error.value());
  create_if_missing(absolute);

  check_kind(absolute);
  file_ = identity_of(absolute);

  database_ = std::make_unique<Database>(absolute, wait_seconds);
  prepare(wait_seconds, lazy_commits);
  // SQLite opens its log with the first transaction, and keeps it for as long as a session is open.
  has_schema(*database_);
  log_path_ = absolute + "-wal";
  log_ = identity_of(log_path_);
  check_in_place();
}

void StoreFile::prepare(int wait_seconds, bool lazy_commits) {
  const bool made = has_schema(*database_);
  database_->merge_log_on_close(true);
  if (database_->read_only()) database_->fail(kDenied, "the file cannot be written");
  switch_to_wal(*database_, wait_seconds);
  database_->execute(lazy_commits ? "PRAGMA synchronous = OFF" : "PRAGMA synchronous = FULL");
  database_->execute("PRAGMA cache_size = -16384");            // KiB
  database_->execute("PRAGMA wal_autocheckpoint = 4000");      // pages
  database_->execute("PRAGMA journal_size_limit = 67108864");  // bytes left after a large merge
  if (made) return;

  Transaction transaction(*database_, Transaction::Kind::write);
  if (!has_schema(*database_)) create_schema(*database_);
  transaction.commit();
}

StoreFile::Identity StoreFile::identity_of(const std::string &path) {
  struct stat status = {};
  const bool there = stat(path.c_str(), &status) == 0;
  return there ? Identity(status.st_dev, status.st_ino) : Identity();
}

bool StoreFile::in_place() const {
  struct stat status = {};
  if (stat(database_->path().c_str(), &status) != 0 || status.st_size == 0) return false;
  return Identity(status.st_dev, status.st_ino) == file_ && identity_of(log_path_) == log_;
}

void StoreFile::check_in_place() const {
  if (!in_place())
    database_->fail(kLost, "the file, or its -wal, was deleted or replaced while it was open");
}

}  // namespace kelp::sqlite
