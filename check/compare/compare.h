// Two reports of the same kind, side by side.
#pragma once

#include "compare/report_file.h"
#include "result/comparison.h"

namespace kelpcheck {

// Throws NotComparable.
Comparison compare(const ReportFile &before, const ReportFile &after, double tolerance,
                   bool strict);

// The parts of it, each for reports of its kind.
void compare_checks(const ReportFile &before, const ReportFile &after, Comparison &to);
void compare_load(const ReportFile &before, const ReportFile &after, Comparison &to);
void compare_watch(const ReportFile &before, const ReportFile &after, Comparison &to);

}  // namespace kelpcheck
