// Runs a part of the program in a process of its own, with fresh globals, over the scripted library
// and with a clock, pauses and random numbers that are not real.
#pragma once

#include <functional>
#include <string>

#include "fake_library.h"

// The clock at the start; a pause of n seconds moves it on by n + 1.
constexpr int32_t start_time = 1400000000;

extern unsigned seed;  // what the random number generator was seeded with

// What the body shows and calls; the last line is ">returned" unless the process ended before the
// body did. Expects exit status 0. The random numbers, modulo 32768, are 0, 1000, 2000, ...
std::string play(const fake::Script &script, const std::function<void()> &body);
