// A watch or a verification as text, JSON, JUnit XML and HTML.
#pragma once

#include <iosfwd>
#include <string>

#include "result/watch.h"

namespace kelpcheck::watch {

// The end of what the terminal shows; `quiet` leaves only what is wrong, and the verdict.
void print_watch(const WatchReport &report, std::ostream &out, bool colours, bool quiet);
std::string watch_json(const WatchReport &report);
std::string watch_junit(const WatchReport &report);
std::string watch_html(const WatchReport &report);

}  // namespace kelpcheck::watch
