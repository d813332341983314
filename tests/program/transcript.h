// Transcripts of single demonstrations, as they stand in transcripts/*.txt:
//
//   run get_database_demo where databases A B, object_get_string#2 returns -4
//     call get_database(c1)
//     shown "A"             seen if the display flag is set
//     always "success!"     seen whatever the flag
//     ends "no database !"  shown, and the process ends; it may also end without a line
//
// What is asked of the library is compared only if there is a call. After "where", on that line or
// on more of them, stand the library's answers: what a call returns, how many objects it lists, the
// entries that it gives ("kept" leaves one as it was); and the settings of the run.
#pragma once

#include "fake.h"

struct Transcript {
  struct Step {
    std::string keyword;  // call, shown, always or ends
    std::string text;
  };
  std::string place;  // file and line
  std::string demonstration;
  fake::Script script = {};
  // The points are P1, P2 ... with the ids 11, 12 ..., unless they are not known yet; the seconds
  // of the time range make two steps; so many sleeps end the process, or none does.
  std::map<std::string, int> settings = {{"nodes", 1},    {"points", 2}, {"known", 1},
                                         {"seconds", 15}, {"option", 0}, {"sleeps", 0}};
  std::vector<Step> steps = {};
};

// All transcripts of a folder; throws with file and line where one cannot be understood.
std::vector<Transcript> read_transcripts(const std::string &folder);
