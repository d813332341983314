#include "report/watch_reports.h"
namespace kelpcheck {
std::string watch_html(const WatchReport &) { return ""; }
}  // namespace kelpcheck
