#include "compare/report_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "result/form.h"
#include "result/text.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

constexpr int kDeepest = 20;  // of lists and objects inside each other; reports have five

std::string contents_of(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::string contents;
  char part[1 << 16];
  while (file.read(part, sizeof(part)) || file.gcount() > 0) {
    contents.append(part, static_cast<size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad())
    throw NotComparable("cannot read " + path + ": " + std::strerror(errno));
  return contents;
}

// What is deeper would take all of the stack when it is copied.
json parsed(const std::string &path) {
  const auto look = [&](int depth, json::parse_event_t, json &) {
    if (depth > kDeepest) throw NotComparable(path + " is no report: its lists are too deep");
    return true;
  };
  const json report = json::parse(contents_of(path), look, false);
  if (report.is_discarded()) throw NotComparable(path + " is not JSON");
  return report;
}

const json &field_in(const json &object, const char *name, json::value_t type) {
  static const json none_of_list = json::array(), none = json::object();
  const json &nothing = type == json::value_t::array ? none_of_list : none;
  if (!object.is_object()) return nothing;
  const auto field = object.find(name);
  return field != object.end() && field->type() == type ? *field : nothing;
}

}  // namespace

ReportFile::ReportFile(const std::string &path_) : path(path_), json(parsed(path_)) {
  if (text_in(json, "form") != "kelpcheck")
    throw NotComparable(path + " is not a JSON report of kelpcheck");
  const double version = number_in(json, "form_version");
  if (version != kFormVersion) {
    throw NotComparable(
        text(path, " has version ", version, " of the form; this kelpcheck knows ", kFormVersion));
  }
  mode = json.contains("mode") ? text_in(json, "mode") : "check";
  if (text_in(json, "verdict").empty())
    throw NotComparable(path + " has no verdict: it is damaged");
}

const json &list_in(const json &object, const char *name) {
  return field_in(object, name, json::value_t::array);
}

const json &object_in(const json &object, const char *name) {
  return field_in(object, name, json::value_t::object);
}

std::string text_in(const json &object, const char *name) {
  if (!object.is_object()) return "";
  const auto field = object.find(name);
  return field != object.end() && field->is_string() ? field->get<std::string>() : "";
}

double number_in(const json &object, const char *name, double otherwise) {
  if (!object.is_object()) return otherwise;
  const auto field = object.find(name);
  return field != object.end() && field->is_number() ? field->get<double>() : otherwise;
}

bool flag_in(const json &object, const char *name) {
  if (!object.is_object()) return false;
  const auto field = object.find(name);
  return field != object.end() && field->is_boolean() && field->get<bool>();
}

}  // namespace kelpcheck
