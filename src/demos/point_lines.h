// Lines about single test points, from the arrays that a call filled.
#pragma once

#include <cstdint>
#include <vector>

// Which entries are errors: current values are refused with negative ones only.
enum class ErrorEntry { nonzero, negative };

// Shows a line for every test point that was refused, a format of its id and its entry.
void show_refused_points(bool display, const std::vector<int32_t> &errors, const char *refused,
                         ErrorEntry error = ErrorEntry::nonzero);

// Shows the value of every test point, or the line of its refusal.
void show_point_values(bool display, const std::vector<double> &values,
                       const std::vector<int32_t> &errors, const char *refused);
