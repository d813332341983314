#include "report/svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kelpcheck {

std::string number(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", value);
  return buffer;
}

std::string line(const char *css, double x1, double y1, double x2, double y2) {
  return text("<line class=\"", css, "\" x1=\"", number(x1), "\" y1=\"", number(y1), "\" x2=\"",
              number(x2), "\" y2=\"", number(y2), "\"/>");
}

std::string label(const char *css, double x, double y, const std::string &words) {
  return text("<text class=\"", css, "\" x=\"", number(x), "\" y=\"", number(y), "\">",
              escaped(words), "</text>");
}

std::string dot(const char *css, double x, double y, double radius) {
  return text("<circle class=\"", css, "\" cx=\"", number(x), "\" cy=\"", number(y), "\" r=\"",
              number(radius), "\"/>");
}

std::string bar(const char *css, double x, double y, double width, double height) {
  return text("<rect class=\"", css, "\" x=\"", number(x), "\" y=\"", number(y), "\" width=\"",
              number(std::max(width, 0.5)), "\" height=\"", number(height), "\"/>");
}

std::string svg(double width, double height, const std::string &title, const std::string &content) {
  return text("<svg viewBox=\"0 0 ", number(width), " ", number(height),
              "\" role=\"img\" xmlns=\"http://www.w3.org/2000/svg\"><title>", escaped(title),
              "</title>", content, "</svg>\n");
}

std::string escaped(const std::string &text) {
  std::string result;
  for (const char c : printable(text)) {
    switch (c) {
      case '<': result += "&lt;"; break;
      case '>': result += "&gt;"; break;
      case '&': result += "&amp;"; break;
      case '"': result += "&quot;"; break;
      case '\'': result += "&#39;"; break;
      default: result += c;
    }
  }
  return result;
}

LogAxis::LogAxis(double smallest, double largest, double left, double right)
    : left_(left), right_(right) {
  low_ = static_cast<int>(std::floor(std::log10(std::max(smallest, 1e-9))));
  high_ = std::max(low_ + 1, static_cast<int>(std::ceil(std::log10(std::max(largest, 1e-9)))));
}

double LogAxis::at(double value) const {
  return left_ + (right_ - left_) * (std::log10(value) - low_) / (high_ - low_);
}

std::vector<double> LogAxis::powers() const {
  std::vector<double> all;
  for (int power = low_; power <= high_; ++power) all.push_back(std::pow(10, power));
  return all;
}

}  // namespace kelpcheck
