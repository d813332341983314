#include "compare/report_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "result/text.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

constexpr int kFormVersion = 1;

const json &field_in(const json &object, const char *name, json::value_t type) {
  static const json none_of_list = json::array(), none = json::object();
  const json &nothing = type == json::value_t::array ? none_of_list : none;
  if (!object.is_object()) return nothing;
  const auto field = object.find(name);
  return field != object.end() && field->type() == type ? *field : nothing;
}

}  // namespace

ReportFile::ReportFile(const std::string &path_) : path(path_) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw NotComparable("cannot read " + path + ": " + std::strerror(errno));
  json = nlohmann::json::parse(file, nullptr, false);
  if (file.bad()) throw NotComparable("cannot read " + path + " to its end");
  if (json.is_discarded()) throw NotComparable(path + " is not JSON");
  if (text_in(json, "form") != "kelpcheck")
    throw NotComparable(path + " is not a JSON report of kelpcheck");
  const double version = number_in(json, "form_version");
  if (version != kFormVersion) {
    throw NotComparable(
        text(path, " has version ", version, " of the form; this kelpcheck knows ", kFormVersion));
  }
  mode = json.contains("mode") ? text_in(json, "mode") : "check";
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
