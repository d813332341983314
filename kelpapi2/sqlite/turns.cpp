// Those who wait hold a shared lock on the store's folder: a file of the store could not be opened
// for that, since closing it would drop SQLite's own locks. Nothing depends on these locks but
// fairness, so that a folder which cannot be locked does no harm.
#include "sqlite/turns.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace kelp::sqlite {

Turns::Turns(const std::string &store)
    : folder_(open(std::filesystem::path(store).parent_path().c_str(),
                   O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

Turns::~Turns() {
  if (folder_ >= 0) close(folder_);
}

void Turns::begin_waiting() {
  if (!waiting_) waiting_ = flock(folder_, LOCK_SH | LOCK_NB) == 0;
}

void Turns::end_waiting() {
  if (waiting_) flock(folder_, LOCK_UN);
  waiting_ = false;
}

void Turns::let_others() {
  constexpr auto pause = std::chrono::milliseconds(3);  // of which who waits looks every one
  if (flock(folder_, LOCK_EX | LOCK_NB) == 0) {
    flock(folder_, LOCK_UN);
  } else {
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace kelp::sqlite
