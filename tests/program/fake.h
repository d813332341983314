// What stands in for the library and the clock in the tests of the program. The library is
// scripted: it answers as it is told, stores nothing, and writes every call with its input to
// standard output as "call NAME(...)", among what the program itself shows. The clock, the pauses
// and the random numbers are not real.
#pragma once

#include <kelpapi2.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace fake {

constexpr int kKept = -1000000;  // an entry that is left as it was found

// Keys are operations without their prefix ("write_value"), or one call of an operation, counted
// from 1 ("write_value#2"), which goes first. What is not scripted succeeds.
struct Script {
  // What operations return; nonzero is null for those that make a handle.
  std::map<std::string, int> results = {};
  // How many objects a listing operation claims to list.
  std::map<std::string, int> listed = {};
  // The entries of a call, 0 where there are too few; a failed entry leaves a null slot. For
  // "get_id_byname" the ids, for "decode_time" the calendar fields.
  std::map<std::string, std::vector<int>> entries = {};
  std::vector<std::string> databases = {"W3"};
  std::string description = "text";  // of every node and point
  double value = 0.5;                // of the first entry or row read; the next ones are 1 higher
  bool shows_calls = true;           // faults are always shown
  int call_ms = 0;                   // how long a call takes
  int sleeps = 0;                    // how many sleeps end the process; 0 if it is to end by itself
};

// The clock at the start; a pause of n seconds moves it on by n + 1.
constexpr int kStartTime = 1400000000;
extern unsigned seed;  // of the random numbers, which modulo 32768 are 0, 1000, 2000, ...

ConnectionHandle open_connection();

// What the body shows and calls in a process of its own, with fresh globals; the last line is
// "returned" unless the process ended before the body did. Expects exit status 0, and shows as
// FAULT what the library made and the program released wrongly or not; connections may stay open.
std::string play(const Script &script, const std::function<void()> &body);

}  // namespace fake
