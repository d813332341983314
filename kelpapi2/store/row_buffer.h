// Bytes that are appended and then read in any order. The first 128 MB are in memory. The rest is
// in a mapped file, so that reading is the same either way; the file has no name, and is gone when
// it is closed, however the process ends.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

namespace kelp {

class RowBuffer {
 public:
  static constexpr size_t kMostInMemory = size_t{128} << 20;

  RowBuffer() = default;
  ~RowBuffer();
  RowBuffer(const RowBuffer &) = delete;
  RowBuffer &operator=(const RowBuffer &) = delete;

  // Throws kStorageFull if there is no room for the file, kDenied if there can be none.
  template <typename Row>
  void append(const Row &row) {
    static_assert(std::is_trivially_copyable_v<Row>);
    if (used_ + sizeof row > capacity_) make_room();
    std::memcpy(buffer_.get() + used_, &row, sizeof row);
    used_ += sizeof row;
  }
  size_t size() const { return written_ + used_; }

  // To be called behind the last row, and before the first one is read.
  void finish();

  // What was appended when size() was `offset`.
  template <typename Row>
  Row at(size_t offset) const {
    Row row;
    std::memcpy(&row, rows_ + offset, sizeof row);
    return row;
  }

 private:
  struct Deleter {
    void operator()(std::byte *memory) const { std::free(memory); }
  };
  void make_room();
  void resize(size_t capacity);
  void write_out();

  std::unique_ptr<std::byte, Deleter> buffer_;
  size_t capacity_ = 0;
  size_t used_ = 0;
  std::string folder_;  // that the file is in
  int file_ = -1;
  size_t written_ = 0;               // to the file
  void *mapped_ = nullptr;           // the whole file
  const std::byte *rows_ = nullptr;  // all of them, wherever they are
};

}  // namespace kelp
