// The registry of demonstrations and the loop that runs them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using DemoFunction = void (*)(bool display);

struct Demo {
  DemoFunction func;
  std::string name;  // shown in the banner
  bool display;      // handed to func
};

extern std::vector<Demo> demo_globle;  // in the order in which they run
extern int32_t demo_count;             // the number that the next banner shows

// Appends one demonstration to demo_globle.
void add_demo(bool display, const DemoFunction &func, const char *name);

// Appends the 29 demonstrations of a run.
void add();

// Prints the banner and runs the demonstration.
void run_demo(const Demo &demo);

// Adds and runs the demonstrations of a run.
void run();
