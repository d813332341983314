// Durations and dates as people write them on a command line, and moments as reports do.
#pragma once

#include <cstdint>
#include <string>

namespace kelpcheck {

// Seconds of a number with ms, s, m, h or d, bare: seconds, such as "90", "1.5h" or "300ms". Throws
// std::invalid_argument for anything else, negative ones, and more than a century.
double parse_duration(const std::string &text);

// Seconds since 1970 of YYYYMMDDhhmmss or ISO 8601 ("2026-11-23", "2026-11-23T17:02:05Z", with a
// space for T, with fractions of a second, which are dropped, and with +hh:mm), UTC unless it says
// otherwise. Throws std::invalid_argument for anything else and for what an int32 cannot hold.
int64_t parse_date(const std::string &text);

// As ISO 8601 in UTC: "2026-11-23T17:02:05Z", with milliseconds if there are any.
std::string iso_text(double moment);

}  // namespace kelpcheck
