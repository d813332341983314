// SQLite keeps its log and its shared memory beside the path that it is given, not beside the file:
// a file with two names would have two logs. So links are followed here, and a second name of the
// file itself is refused.
#include "sqlite/store_path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "store/result_code.h"

namespace kelp::sqlite {

namespace {

namespace fs = std::filesystem;

constexpr size_t kLongestPath = 504;  // what SQLite takes, with the endings of its own files

[[noreturn]] void refuse(ResultCode code, const std::string &path, const std::string &cause) {
  throw Failure(code, "store " + path + ": " + cause);
}

[[noreturn]] void refuse_with_errno(const std::string &path, int error) {
  refuse(error == ENOSPC ? kStorageFull : kDenied, path, std::strerror(error));
}

// The path without links, also of a file that is yet to be made.
std::string real_path(const std::string &path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  fs::path real = fs::canonical(absolute, error);
  if (error == std::errc::no_such_file_or_directory) {
    real = fs::canonical(absolute.parent_path(), error) / absolute.filename();
  }
  if (error) refuse_with_errno(path, error.value());
  if (real.string().size() > kLongestPath) refuse_with_errno(path, ENAMETOOLONG);
  return real.string();
}

// Makes an empty file that only its owner can read. A file that exists is not even opened: closing
// it again would drop the locks that this process holds on it through SQLite.
void create_if_missing(const std::string &path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file >= 0) {
    close(file);
  } else if (errno != EEXIST) {
    refuse_with_errno(path, errno);
  }
}

bool can_write(const std::string &path) {
  return faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0;
}

void check_file(const std::string &path, const struct stat &status) {
  constexpr off_t smallest_database = 512;
  if (!S_ISREG(status.st_mode)) refuse(kDenied, path, "not a file");
  if (status.st_nlink > 1) {
    refuse(kDenied, path, "the file has more than one name (hard links); a store can have one");
  }
  // SQLite would take a file of one byte for an empty one.
  if (status.st_size > 0 && status.st_size < smallest_database) {
    refuse(kForeignStore, path, "file is not a database");
  }
  if (!can_write(path)) refuse(kDenied, path, "the file cannot be read and written");
  if (!can_write(fs::path(path).parent_path().string())) {
    refuse(kDenied, path, "its directory cannot be written");
  }
}

// A program that opened the store while it could not be written may have left these behind with the
// rights that the file had then.
void check_companion(const std::string &path, const char *ending, mode_t mode) {
  const std::string companion = path + ending;
  if (can_write(companion) || errno == ENOENT) return;
  if (chmod(companion.c_str(), mode & 0777) == 0 && can_write(companion)) return;
  refuse(kDenied, path, std::string("its ") + ending + " cannot be read and written");
}

}  // namespace

FileIdentity identity_of(const std::string &path) {
  struct stat status = {};
  const bool there = stat(path.c_str(), &status) == 0;
  return there ? FileIdentity(status.st_dev, status.st_ino) : FileIdentity();
}

StoreFiles::StoreFiles(const std::string &path)
    : file(identity_of(path)),
      log(identity_of(path + "-wal")),
      shared_memory(identity_of(path + "-shm")) {}

std::string prepare_path(const std::string &given) {
  if (given.empty()) throw Failure(kInvalidArgument, "store: the host \"file:\" names no file");
  const std::string path = real_path(given);
  create_if_missing(path);
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) refuse_with_errno(path, errno);
  check_file(path, status);
  for (const char *ending : {"-wal", "-shm"}) check_companion(path, ending, status.st_mode);
  return path;
}

}  // namespace kelp::sqlite
