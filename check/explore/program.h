// A sequence as a C program, which those who maintain a server or its library can run without
// kelpcheck. It connects, makes what it needs, waits for what was acknowledged, shows what was
// expected and what came, and removes what it made.
#pragma once

#include "explore/player.h"

namespace kelpcheck::explore {

struct ProgramNotes {
  ServerOptions server;  // what the program connects to by default; its password is not used
  double settle = 5;     // seconds
  std::string found_by;  // "kelpcheck 1.2.0, seed 7, sequence 3"
};

// `finding` is of the sequence's last call. C11; the exit status is 1 where the fault is, 0 where
// it is not, and 2 without a session. Empty for what a program cannot look at.
std::string c_program(const Sequence &sequence, const Place &place, const Finding &finding,
                      const ProgramNotes &notes);

}  // namespace kelpcheck::explore
