// {"first","offset"} once, {"step","at"} before a call,
// {"done","at","took","outcome","code","failed_points"} after it,
// {"skipped","busy"}, and {"event","at",...} for all else.
#include "watch/journal_line.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace kelpcheck::watch {

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// To a tenth of a millisecond, which is short to write.
double short_of(double seconds) { return std::round(seconds * 1e4) / 1e4; }

const char *name_of(ReaderFound::Kind kind) {
  switch (kind) {
    case ReaderFound::stale: return "stale";
    case ReaderFound::foreign: return "foreign value";
    default: return "hole";
  }
}

ReaderFound::Kind found_kind(const std::string &name) {
  for (const auto kind : {ReaderFound::stale, ReaderFound::foreign, ReaderFound::hole}) {
    if (name == name_of(kind)) return kind;
  }
  throw std::runtime_error("no finding is called " + name);
}

Outcome outcome_called(const std::string &name) {
  for (int i = 0; i < kOutcomes; ++i) {
    const auto outcome = static_cast<Outcome>(i);
    if (name == watch::name_of(outcome)) return outcome;
  }
  throw std::runtime_error("no outcome is called " + name);
}

ordered_json event(const char *name, double at) { return {{"event", name}, {"at", short_of(at)}}; }

// Of each kind of line its JSON.
struct Writer {
  ordered_json operator()(const WatchBegan &line) const {
    return {{"first", line.first}, {"offset", line.offset}};
  }
  ordered_json operator()(const StepBegan &line) const {
    return {{"step", line.step}, {"at", short_of(line.at)}};
  }
  ordered_json operator()(const StepEnded &line) const {
    ordered_json fields{{"done", line.step},
                        {"at", short_of(line.at)},
                        {"took", short_of(line.seconds)},
                        {"outcome", watch::name_of(line.outcome)}};
    if (!line.code.empty()) fields["code"] = line.code;
    if (!line.said.empty()) fields["said"] = line.said;
    for (const Span &part : line.failed.parts()) {
      fields["failed_points"].push_back({part.first, part.last});
    }
    return fields;
  }
  ordered_json operator()(const StepSkipped &line) const {
    ordered_json fields{{"skipped", line.step}};
    if (line.busy) fields["busy"] = true;
    return fields;
  }
  ordered_json operator()(const SessionRefused &line) const {
    ordered_json fields = event("session refused", line.at);
    fields["code"] = line.code;
    if (!line.said.empty()) fields["said"] = line.said;
    return fields;
  }
  ordered_json operator()(const SessionMade &line) const {
    ordered_json fields = event("session made", line.at);
    if (line.drift != 0) fields["drift"] = line.drift;
    return fields;
  }
  ordered_json operator()(const Resumed &line) const { return event("resumed", line.at); }
  ordered_json operator()(const ReaderReads &line) const { return event("reader reads", line.at); }
  ordered_json operator()(const ReaderLost &line) const {
    ordered_json fields = event("reader lost", line.at);
    fields["code"] = line.code;
    return fields;
  }
  ordered_json operator()(const ReaderFound &line) const {
    ordered_json fields = event(name_of(line.kind), line.at);
    fields["values"] = line.values;
    fields["point"] = line.example.point;
    fields["time"] = line.example.time;
    fields["expected"] = line.example.expected;
    fields["got"] = line.example.got;
    return fields;
  }
  ordered_json operator()(const HistoryLooked &line) const {
    return event(line.kept ? "history kept" : "no history", line.at);
  }
  ordered_json operator()(const WatchEnded &line) const {
    ordered_json fields = event("ended", line.at);
    fields["why"] = line.why;
    return fields;
  }
};

StepEnded step_ended(const json &fields) {
  StepEnded line{fields.at("done"),        fields.at("at"),
                 fields.at("took"),        outcome_called(fields.at("outcome")),
                 fields.value("code", ""), {},
                 fields.value("said", "")};
  if (!fields.contains("failed_points")) return line;
  for (const json &part : fields["failed_points"]) {
    line.failed.add(Span{part.at(0).get<int64_t>(), part.at(1).get<int64_t>()});
  }
  return line;
}

JournalLine event_line(const json &fields) {
  const std::string name = fields.at("event");
  const double at = fields.at("at");
  if (name == "session refused")
    return SessionRefused{at, fields.at("code"), fields.value("said", "")};
  if (name == "session made") return SessionMade{at, fields.value("drift", 0.0)};
  if (name == "resumed") return Resumed{at};
  if (name == "reader reads") return ReaderReads{at};
  if (name == "reader lost") return ReaderLost{at, fields.at("code")};
  if (name == "history kept" || name == "no history") return HistoryLooked{at, name[0] == 'h'};
  if (name == "ended") return WatchEnded{at, fields.at("why")};
  const Oddity example{fields.at("point"), fields.at("time"), fields.at("expected"),
                       fields.at("got")};
  return ReaderFound{found_kind(name), at, fields.at("values"), example};
}

}  // namespace

std::string to_json(const JournalLine &line) {
  return std::visit(Writer{}, line).dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string to_json(const JournalHead &head) {
  const ordered_json fields{{"form", "kelpcheck journal"},
                            {"form_version", kJournalVersion},
                            {"program_version", head.program_version},
                            {"machine", head.machine},
                            {"host", head.server.host},
                            {"port", head.server.port},
                            {"user", head.server.user},
                            {"option", head.server.option},
                            {"route", head.server.route},
                            {"size", head.server.size},
                            {"database", head.server.database},
                            {"prefix", head.server.prefix},
                            {"points", head.points},
                            {"seed", head.seed},
                            {"every", head.every},
                            {"settle", head.settle}};
  return fields.dump(-1, ' ', false, json::error_handler_t::replace);
}

JournalHead parse_head(const std::string &text) {
  const json fields = json::parse(text, nullptr, false);
  if (!fields.is_object() || fields.value("form", json()) != "kelpcheck journal") {
    throw std::runtime_error("it is not a journal of a watch");
  }
  if (fields.value("form_version", 0) != kJournalVersion) {
    throw std::runtime_error("it is the journal of another version of kelpcheck");
  }
  JournalHead head;
  head.program_version = fields.at("program_version");
  head.machine = fields.at("machine");
  head.server.host = fields.at("host");
  head.server.port = fields.at("port");
  head.server.user = fields.at("user");
  head.server.option = fields.at("option");
  head.server.route = fields.at("route");
  head.server.size = fields.at("size");
  head.server.database = fields.at("database");
  head.server.prefix = fields.at("prefix");
  head.points = fields.at("points");
  head.seed = fields.at("seed");
  head.every = fields.at("every");
  head.settle = fields.at("settle");
  const bool sensible = head.points > 0 && head.every > 0;
  if (!sensible) throw std::runtime_error("its head makes no sense");
  return head;
}

JournalLine parse_line(const std::string &text) {
  const json fields = json::parse(text);
  if (!fields.is_object()) throw std::runtime_error("not an object");
  if (fields.contains("first")) return WatchBegan{fields["first"], fields.at("offset")};
  if (fields.contains("step")) return StepBegan{fields["step"], fields.at("at")};
  if (fields.contains("done")) return step_ended(fields);
  if (fields.contains("skipped")) {
    return StepSkipped{fields["skipped"], fields.value("busy", false)};
  }
  return event_line(fields);
}

}  // namespace kelpcheck::watch
