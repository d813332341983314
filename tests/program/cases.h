// What a demonstration is expected to show and to ask of the library.
#pragma once

#include <string>
#include <vector>

#include "fake_library.h"

using Lines = std::vector<std::string>;

struct Setup {
  int nodes = 1;
  int points = 1;    // P1, P2 ... with the ids 11, 12 ...
  int seconds = 15;  // which makes two steps
  int option = 0;
  bool built = true;  // the lists of names and ids are filled
  std::string database = "W3";
};

struct Case {
  const char *name;
  void (*demo)(bool);
  fake::Script script;
  // Shown lines behind a mark: a blank where the display flag decides whether it is seen, * where
  // it always is; ! and # are the same for a line that ends the process. Calls behind a >, several
  // in one entry separated by "; "; the calls are not compared if there are none.
  Lines expected;
  Setup setup = {};
};

extern const std::vector<Case> cases;
