#include "transcript.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

// One setting, as it stands between "where" or a comma and the next comma.
void apply_setting(Transcript &transcript, const std::string &setting) {
  std::istringstream stream(setting);
  std::string name, verb, word;
  std::vector<std::string> words;
  stream >> name >> verb;
  while (stream >> word) words.push_back(word);
  const std::string last = words.empty() ? verb : words.back();
  fake::Script &script = transcript.script;
  if (verb == "gives") {
    for (const std::string &entry : words) {
      script.entries[name].push_back(entry == "kept" ? fake::kKept : std::stoi(entry));
    }
  } else if (verb == "returns") {
    script.results[name] = std::stoi(last);
  } else if (verb == "lists") {
    script.listed[name] = std::stoi(last);
  } else if (name == "databases") {
    script.databases = words;
    script.databases.insert(script.databases.begin(), verb);
  } else if (name == "description") {
    script.description = last;
  } else if (name == "value") {
    script.value = std::stod(last);
  } else if (transcript.settings.contains(name)) {
    transcript.settings[name] = std::stoi(last);
  } else {
    throw std::invalid_argument("there is no setting " + name);
  }
}

void read_line(std::vector<Transcript> &transcripts, const std::string &line,
               const std::string &place) {
  std::istringstream stream(line);
  std::string keyword, rest;
  stream >> keyword >> std::ws;
  std::getline(stream, rest);
  if (keyword.empty() || keyword[0] == '#') return;
  if (keyword == "run") {
    const size_t end = std::min(rest.find(" where "), rest.size());
    transcripts.push_back({.place = place, .demonstration = rest.substr(0, end)});
    if (end == rest.size()) return;
    keyword = "where";
    rest = rest.substr(end + std::string(" where ").size());
  }
  if (transcripts.empty()) throw std::invalid_argument("no \"run\" before it");
  const bool quoted = rest.size() >= 2 && rest.front() == '"' && rest.back() == '"';
  if (keyword == "where") {
    std::istringstream settings(rest);
    while (std::getline(settings, rest, ',')) apply_setting(transcripts.back(), rest);
  } else if (keyword == "call" || (keyword == "ends" && rest.empty())) {
    transcripts.back().steps.push_back({keyword, rest});
  } else if (quoted && (keyword == "shown" || keyword == "always" || keyword == "ends")) {
    transcripts.back().steps.push_back({keyword, rest.substr(1, rest.size() - 2)});
  } else {
    throw std::invalid_argument("neither a keyword nor a text in quotes after one");
  }
}

}  // namespace

std::vector<Transcript> read_transcripts(const std::string &folder) {
  std::vector<Transcript> transcripts;
  for (const auto &file : std::filesystem::directory_iterator(folder)) {
    std::ifstream stream(file.path());
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
      const std::string place = file.path().filename().string() + ":" + std::to_string(number);
      try {
        read_line(transcripts, line, place);
      } catch (const std::exception &error) {
        throw std::runtime_error(place + ": " + line + ": " + error.what());
      }
    }
  }
  return transcripts;
}
