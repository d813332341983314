// The frame of an HTML report: one page without anything from elsewhere, to be read, printed and
// filed, with the same look whatever it reports.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kelpcheck {

// Plain texts; they are made harmless here.
struct PageHead {
  std::string kind;     // above the verdict: "Acceptance record of a historian"
  std::string verdict;  // the heading
  bool good;            // its colour
  std::string host;     // in the page's title
  std::string summary;
  std::vector<std::pair<std::string, std::string>> facts;
};

std::string page_begin(const PageHead &head);
std::string page_end(const std::string &footer);

}  // namespace kelpcheck
