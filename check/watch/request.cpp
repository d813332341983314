#include "watch/request.h"

#include <nlohmann/json.hpp>

namespace kelpcheck::watch {

using nlohmann::json;

namespace {

json json_of(const Ranges &ranges) {
  json parts = json::array();
  for (const Span &part : ranges.parts()) parts.push_back({part.first, part.last});
  return parts;
}

Span range_of(const json &fields) { return {fields.at(0), fields.at(1)}; }

Ranges ranges_of(const json &fields) {
  Ranges ranges;
  for (const json &part : fields) ranges.add(range_of(part));
  return ranges;
}

json json_of(const std::vector<Oddity> &examples) {
  json list = json::array();
  for (const Oddity &odd : examples) {
    list.push_back({odd.point, odd.time, odd.expected, odd.got});
  }
  return list;
}

std::vector<Oddity> oddities_of(const json &list) {
  std::vector<Oddity> examples;
  for (const json &odd : list) examples.push_back({odd.at(0), odd.at(1), odd.at(2), odd.at(3)});
  return examples;
}

}  // namespace

std::string to_json(const Request &request) {
  const json fields{
      {"what", static_cast<int>(request.what)}, {"first", request.first}, {"step", request.step},
      {"points", json_of(request.points)},      {"begin", request.begin}, {"end", request.end}};
  return fields.dump();
}

Request parse_request(const std::string &text) {
  const json fields = json::parse(text);
  Request request;
  request.what = static_cast<Request::What>(fields.at("what").get<int>());
  request.first = fields.at("first");
  request.step = fields.at("step");
  request.points = ranges_of(fields.at("points"));
  request.begin = fields.at("begin");
  request.end = fields.at("end");
  return request;
}

std::string to_json(const Reply &reply) {
  json current = json::array(), observed = json::array();
  for (const CurrentGroup &group : reply.current.groups) {
    current.push_back({group.step, json_of(group.points)});
  }
  for (const Observed &group : reply.observation.groups) {
    observed.push_back({json_of(group.points), json_of(group.shown.right),
                        json_of(group.shown.wrong), group.shown.off_grid});
  }
  const json fields{{"done", reply.done},
                    {"code", reply.code},
                    {"lost", reply.lost},
                    {"began", reply.began},
                    {"ended", reply.ended},
                    {"server_time", reply.server_time},
                    {"points", json_of(reply.points)},
                    {"tree", static_cast<int>(reply.tree)},
                    {"current", current},
                    {"current_examples", json_of(reply.current.examples)},
                    {"observed", observed},
                    {"observed_examples", json_of(reply.observation.examples)}};
  return fields.dump(-1, ' ', false, json::error_handler_t::replace);
}

Reply parse_reply(const std::string &text) {
  const json fields = json::parse(text);
  Reply reply;
  reply.done = fields.at("done");
  reply.code = fields.at("code");
  reply.lost = fields.at("lost");
  reply.began = fields.at("began");
  reply.ended = fields.at("ended");
  reply.server_time = fields.at("server_time");
  reply.points = ranges_of(fields.at("points"));
  reply.tree = static_cast<TreeState>(fields.at("tree").get<int>());
  reply.current.examples = oddities_of(fields.at("current_examples"));
  for (const json &group : fields.at("current")) {
    reply.current.groups.push_back({ranges_of(group.at(1)), group.at(0)});
  }
  reply.observation.examples = oddities_of(fields.at("observed_examples"));
  for (const json &group : fields.at("observed")) {
    const Shown shown{ranges_of(group.at(1)), ranges_of(group.at(2)), group.at(3)};
    reply.observation.groups.push_back({ranges_of(group.at(0)), shown});
  }
  return reply;
}

}  // namespace kelpcheck::watch
