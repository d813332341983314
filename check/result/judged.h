// Which library was judged: part of every record.
#pragma once

#include <cstdint>
#include <string>

namespace kelpcheck {

struct JudgedLibrary {
  std::string path;    // of the file itself, links resolved; empty if there is none
  int64_t size = 0;    // bytes
  std::string sha256;  // in 64 digits; empty if it could not be found out

  std::string words() const;  // size and sum in a line
};

}  // namespace kelpcheck
