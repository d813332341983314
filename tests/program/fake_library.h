// A scripted library behind the program: it answers as it is told, stores nothing, and writes every
// call with its input to standard output behind a ">", among what the program itself shows.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "serverapi/kelpapi2.h"

namespace fake {

constexpr int32_t kept = -1000000;  // leaves an entry, a field or a count as it was found

// Keys are operations without their prefix ("write_value"), or one call of an operation, counted
// from 1 ("write_value#2"), which goes first. What is not scripted succeeds.
struct Script {
  // What operations return (nonzero is null for those that make a handle), and the counts of the
  // two listings, "databases" and "children".
  std::map<std::string, int32_t> results = {};
  // The entry codes of a call, 0 where the list is too short; a failed entry leaves a null slot.
  // For "get_id_byname" the ids, for "decode_time" the calendar fields.
  std::map<std::string, std::vector<int32_t>> entries = {};
  std::vector<std::string> databases = {"W3"};
  std::string description = "text";  // of every node and point
  double value = 0.5;                // of the first entry or row read; the next ones are 1 higher
  bool shows_calls = true;           // faults are always shown
  int sleeps = 0;                    // how many sleeps end the process; 0 if it is to end by itself
};

extern Script script;

ConnectionHandle open_connection();

// Writes a line with FAULT for all that the library made and the program did not release, save
// connections.
void report_leaks();

}  // namespace fake
