#include "report/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace kelpcheck {

namespace {

[[noreturn]] void fail(const std::string &path, int error) {
  throw std::runtime_error("cannot write " + path + ": " + std::strerror(error));
}

int open_report(const std::string &path, int flags) {
  flags |= O_WRONLY | O_CREAT | O_CLOEXEC;
  const int file = path == "-" ? dup(STDOUT_FILENO) : open(path.c_str(), flags, 0666);
  if (file < 0) fail(path, errno);
  return file;
}

}  // namespace

void require_writable(const std::string &path) { close(open_report(path, 0)); }

void write_file(const std::string &path, const std::string &contents) {
  const int file = open_report(path, O_TRUNC);
  for (size_t done = 0; done < contents.size();) {
    const ssize_t n = write(file, contents.data() + done, contents.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int error = errno;
      close(file);
      fail(path, error);
    }
    done += static_cast<size_t>(n);
  }
  if (close(file) != 0) fail(path, errno);
}

}  // namespace kelpcheck
