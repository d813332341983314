// The statements that insert samples and current values. Most engines take them best as arrays, one
// of each column. A cluster would gather the rows of such a statement in one place first; it sends
// rows that are listed one by one straight to where they belong.
#pragma once

#include <span>
#include <vector>

#include "postgres/session.h"
#include "store/store.h"

namespace kelp::postgres {

struct Insertion {
  WriteKind kind;
  bool arrays;   // or rows one by one
  bool replace;  // samples of the same point and time
};

// Appends the statements for the rows at these positions, which are in key order.
void append_insertion(std::vector<Command> &commands, const Insertion &insertion,
                      const SampleRows &rows, std::span<const size_t> part);

}  // namespace kelp::postgres
