// Records, one JSON object per line: {"connected"}, {"begin": name}, {"end": name, "evidence",
// ...}, {"finding": [question, answer]}, {"plot"}, {"no_session"}, and {"complete"} at the end,
// without which the process ended before its time.
#include "probe/check_context.h"

#include "result/evidence_json.h"

namespace kelpcheck {

using nlohmann::json;

void CheckContext::send(const json &record) const {
  records_.send(record.dump(-1, ' ', false, json::error_handler_t::replace));
}

void CheckContext::finding(const std::string &question, const std::string &answer) const {
  send({{"finding", {question, answer}}});
}

void CheckContext::plot(const Plot &plot) const { send({{"plot", plot}}); }

void CheckContext::connected() const { send({{"connected", true}}); }

}  // namespace kelpcheck
