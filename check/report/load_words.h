// The words and cells that the text report and the page of a load share.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "result/load.h"

namespace kelpcheck {

inline constexpr std::array kStageTitles = {"stage",    "offered/s", "achieved/s", "calls",
                                            "failures", "median",    "95 %",       "99 %",
                                            "99.9 %",   "longest",   "service",    "verdict"};
std::vector<std::string> stage_cells(const LoadStage &stage);
std::string seconds_text(double seconds);
// How much was read back from where, and how it was.
std::string read_back_words(const LoadReport &report);

}  // namespace kelpcheck
