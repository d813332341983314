// The charts of the HTML report, as inline SVG that takes its colours from the page.
#pragma once

#include <string>

#include "result/evidence.h"
#include "result/figures.h"

namespace kelpcheck {

// The text for HTML and XML: harmless bytes, nothing that could be markup.
std::string escaped(const std::string &text);

// Per operation: shortest to longest time of a call with median and 95 %, and rows per second, both
// on logarithmic scales.
std::string figures_chart(const Figures &figures);
// A block's values over time, as written (line) and as read back (dots).
std::string block_chart(const Plot &plot);

}  // namespace kelpcheck
