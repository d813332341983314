// The charts of the HTML report, as inline SVG that takes its colours from the page.
#pragma once

#include <string>

#include "result/evidence.h"
#include "result/figures.h"

namespace kelpcheck {

// Per operation: shortest to longest time of a call with median and 95 %, and rows per second, both
// on logarithmic scales.
std::string figures_chart(const Figures &figures);
// A block's values over time, as written (line) and as read back (dots).
std::string block_chart(const Plot &plot);

}  // namespace kelpcheck
