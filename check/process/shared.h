// A record in memory that this process shares with the children it makes later. It needs no
// sending, and nothing in it is lost when a child is killed.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>

namespace kelpcheck {

// Zeroed pages shared with later children; throws std::system_error.
void *map_shared(size_t size);
void unmap_shared(void *memory, size_t size);

// Owns one T. T has no pointers into its process; fields that both sides use at a time are
// std::atomic.
template <typename T>
class Shared {
 public:
  static_assert(std::is_trivially_destructible_v<T>);
  Shared() : record_(new (map_shared(sizeof(T))) T{}) {}
  ~Shared() { unmap_shared(record_, sizeof(T)); }
  Shared(const Shared &) = delete;
  Shared &operator=(const Shared &) = delete;

  T &operator*() const { return *record_; }
  T *operator->() const { return record_; }

 private:
  T *record_;
};

}  // namespace kelpcheck
