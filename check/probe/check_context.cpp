// Records, one JSON object per line: {"connected"}, {"claimed"}, {"begin": name}, {"end": name,
// "evidence",
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

void CheckContext::send_habit(Question question) const {
  const std::optional<Observation> &last = habits.last(question);
  send({{"habit",
         {{"question", static_cast<int>(question)},
          {"left", habits.left(question).bits()},
          {"where", last ? last->where : ""},
          {"got", last ? last->got : ""},
          {"unknown", habits.unknown(question)}}}});
}

bool CheckContext::read(Question question, Answers allowed, const std::string &where,
                        const std::string &got) {
  const bool news = !habits.asked(question);
  const Answers before = habits.left(question);
  const std::optional<Clash> clash = habits.read(question, allowed, {where, got});
  ++evidence.compared;
  if (!clash) {
    if (news || !(habits.left(question) == before)) send_habit(question);
    return true;
  }
  if (evidence.differences++ == 0) {
    const QuestionEntry &entry = entry_of(question);
    const std::string answer = entry.text_of(allowed);
    evidence.keep(
        text(entry.text, ": ", where),
        text(clash->expected, ", as ", clash->earlier.where, " showed (", clash->earlier.got, ")"),
        answer.empty() || answer == got ? got : text(answer, " (", got, ")"));
  }
  return false;
}

void CheckContext::move_begin(int32_t time) {
  begin = time;
  send({{"data_begin", time}});
}

void CheckContext::need(Question question) const {
  const std::string &why = habits.unknown(question);
  if (habits.asked(question) && why.empty()) return;
  throw Unknown(text("unknown: ", entry_of(question).text, " ... (",
                     why.empty() ? "it could not be observed" : why, ")"));
}

void CheckContext::waited(double seconds) {
  read(Question::waiting, Answer::inside_settle, "waiting for something acknowledged",
       duration_text(seconds * 1e9));
  if (seconds <= habits.longest_wait) return;
  habits.longest_wait = seconds;
  send({{"waited", seconds}});
}

void CheckContext::plot(const Plot &plot) const { send({{"plot", plot}}); }

void CheckContext::claimed() const { send({{"claimed", true}}); }

void CheckContext::connected() const { send({{"connected", true}}); }

}  // namespace kelpcheck
