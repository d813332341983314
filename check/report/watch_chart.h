// The time line of a watch: outcomes of the steps, outages, stalls and losses one above the other,
// and how long the writes took, on a logarithmic scale.
#pragma once

#include "report/watch_words.h"

namespace kelpcheck::watch {

std::string time_line_chart(const WatchReport &report, const WatchWords &words);

}  // namespace kelpcheck::watch
