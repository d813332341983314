// The pieces of which charts are made: SVG that takes its colours from the page, by CSS class.
// Coordinates are those of the picture.
#pragma once

#include <string>
#include <vector>

#include "result/text.h"

namespace kelpcheck {

// The text for HTML and XML: harmless bytes, nothing that could be markup.
std::string escaped(const std::string &text);

std::string number(double value);  // of a coordinate
std::string line(const char *css, double x1, double y1, double x2, double y2);
std::string label(const char *css, double x, double y, const std::string &words);
std::string dot(const char *css, double x, double y, double radius);
std::string bar(const char *css, double x, double y, double width, double height);
std::string svg(double width, double height, const std::string &title, const std::string &content);

// A logarithmic axis from one power of ten to another, along x or y.
class LogAxis {
 public:
  LogAxis(double smallest, double largest, double left, double right);
  double at(double value) const;
  std::vector<double> powers() const;
  // Vertical lines at all powers of ten, each with its name above.
  template <typename Name>
  std::string grid(double top, double bottom, Name &&name) const {
    std::string lines;
    for (const double power : powers()) {
      const double x = at(power);
      lines += line("grid", x, top, x, bottom) + label("tick middle", x, top - 6, name(power));
    }
    return lines;
  }

 private:
  double left_, right_;
  int low_, high_;
};

}  // namespace kelpcheck
