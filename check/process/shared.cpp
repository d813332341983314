#include "process/shared.h"

#include <sys/mman.h>

#include <cerrno>
#include <system_error>

namespace kelpcheck {

void *map_shared(size_t size) {
  void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  return memory;
}

void unmap_shared(void *memory, size_t size) { munmap(memory, size); }

}  // namespace kelpcheck
