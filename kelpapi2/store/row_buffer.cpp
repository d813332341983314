// The memory is grown by realloc, which moves large pieces by their page tables: a vector would
// need the rows twice while it grows. Memory that was never written to costs nothing.
#include "store/row_buffer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <string>
#include <utility>

#include "store/result_code.h"

namespace kelp {

namespace {

constexpr size_t kSmallest = 4096;

[[noreturn]] void fail(const std::string &folder, int error) {
  const bool full = error == ENOSPC || error == EDQUOT || error == EFBIG;
  throw Failure(full ? kStorageFull : kDenied, "a query of more than 128 MB needs a file in " +
                                                   folder + ": " + std::strerror(error));
}

std::string own_folder() {
  const char *folder = secure_getenv("TMPDIR");
  return folder ? folder : "";
}

// A file without a name, in the folder that the user has chosen for such files or in the system's.
int open_file(std::string &folder) {
  constexpr const char *systems = "/var/tmp";
  const std::string own = own_folder();
  for (const std::string &candidate : {own, std::string(systems)}) {
    if (candidate.empty()) continue;
    folder = candidate;
    std::string path = folder + "/kelpapi2-XXXXXX";
    const int file = mkostemp(path.data(), O_CLOEXEC);
    if (file < 0) continue;
    unlink(path.c_str());
    return file;
  }
  fail(folder, errno);
}

}  // namespace

RowBuffer::~RowBuffer() {
  if (mapped_ != nullptr) munmap(mapped_, written_);
  if (file_ >= 0) close(file_);
}

void RowBuffer::make_room() {
  if (capacity_ < kMostInMemory) {
    resize(std::clamp(capacity_ * 2, kSmallest, kMostInMemory));
  } else {
    write_out();
  }
}

void RowBuffer::resize(size_t capacity) {
  auto *memory = static_cast<std::byte *>(std::realloc(buffer_.get(), capacity));
  if (memory == nullptr) throw std::bad_alloc();
  static_cast<void>(buffer_.release());
  buffer_.reset(memory);
  capacity_ = capacity;
}

void RowBuffer::write_out() {
  if (file_ < 0) file_ = open_file(folder_);
  for (size_t done = 0; done < used_;) {
    const ssize_t count = write(file_, buffer_.get() + done, used_ - done);
    if (count < 0 && errno != EINTR) fail(folder_, errno);
    if (count > 0) done += static_cast<size_t>(count);
  }
  written_ += used_;
  used_ = 0;
}

void RowBuffer::finish() {
  if (file_ < 0) {
    if (used_ > 0) resize(used_);
    rows_ = buffer_.get();
    return;
  }
  write_out();
  void *mapped = mmap(nullptr, written_, PROT_READ, MAP_SHARED, file_, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  mapped_ = mapped;
  rows_ = static_cast<const std::byte *>(mapped);
  close(std::exchange(file_, -1));
  buffer_.reset();
}

}  // namespace kelp
