// The file of a store before SQLite has it: where it really is, and whether a store can be kept
// there at all. What is refused is refused here, so that nothing is left behind.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

namespace kelp::sqlite {

// What tells a file from any other; of a file that is not there, zeros.
using FileIdentity = std::pair<dev_t, ino_t>;
FileIdentity identity_of(const std::string &path);

// The file and the two that SQLite keeps beside it while it is open.
struct StoreFiles {
  StoreFiles() = default;
  explicit StoreFiles(const std::string &path);
  bool operator==(const StoreFiles &) const = default;

  FileIdentity file{}, log{}, shared_memory{};
};

// Makes an empty file if there is none, and returns its path without links. Throws kDenied or
// kForeignStore where no store can be.
std::string prepare_path(const std::string &path);

}  // namespace kelp::sqlite
