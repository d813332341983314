// A report of kelpcheck as a comparison reads it: JSON that may come from anywhere, so whatever is
// missing or has another type is reported and nothing crashes.
#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace kelpcheck {

// Two reports cannot be compared, or one is none.
struct NotComparable : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct ReportFile {
  std::string path;
  nlohmann::json json;
  std::string mode;  // "check", "load", "watch" or "verify"

  // Throws NotComparable for what cannot be read and is no report of a form that is known.
  explicit ReportFile(const std::string &path);
};

// The values of fields, `otherwise` where they are missing or of another type.
const nlohmann::json &list_in(const nlohmann::json &object, const char *name);
const nlohmann::json &object_in(const nlohmann::json &object, const char *name);
std::string text_in(const nlohmann::json &object, const char *name);
double number_in(const nlohmann::json &object, const char *name, double otherwise = 0);
bool flag_in(const nlohmann::json &object, const char *name);

}  // namespace kelpcheck
