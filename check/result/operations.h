// The operations of the library as a list: their numbers and names, without the library's header.
// operations.def is the one place that has them.
#pragma once

#include <cstdint>
#include <iterator>

namespace kelpcheck {

enum class Op : int32_t {
#define X(name) name,
#include "operations.def"
#undef X
};

inline constexpr const char *kOperationNames[] = {
#define X(name) "kelp2_" #name,
#include "operations.def"
#undef X
};
inline constexpr int kOperations = std::size(kOperationNames);

inline const char *name_of(Op op) { return kOperationNames[static_cast<int>(op)]; }

}  // namespace kelpcheck
