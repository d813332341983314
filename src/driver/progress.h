// One line on standard error, if that is a terminal, that shows the progress of a long
// demonstration. It is not output: what a run shows on standard output is the same with and without
// it.
#pragma once

#include <cstdint>

// A demonstration of that name begins. The name has to outlive it.
void begin_progress(const char *name);

// For every pass of a loop, before its work: `done` of `total` points, say, are done. Draws the
// line if the demonstration has worked for a second, ten times a second at most; costs some
// nanoseconds otherwise.
void show_progress(int32_t done, int32_t total, const char *unit);

// Takes the line away. For every place that writes something else, or ends.
void wipe_progress();

// From now on SIGINT and SIGTERM take the line away before they end the process, as they would
// without this. A signal that is ignored stays ignored.
void wipe_progress_on_signals();
