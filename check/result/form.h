// The form of the JSON reports: one for checks, watches and loads, told apart by "mode". What reads
// an older report has to know its version.
#pragma once

namespace kelpcheck {

inline constexpr int kFormVersion = 1;

}  // namespace kelpcheck
