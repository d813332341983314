// A comparison as text and HTML.
#pragma once

#include <iosfwd>
#include <string>

#include "result/comparison.h"

namespace kelpcheck {

// `quiet`: only what differs, and the verdict.
void comparison_text(const Comparison &comparison, std::ostream &out, bool quiet);
std::string comparison_html(const Comparison &comparison);

}  // namespace kelpcheck
