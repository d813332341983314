// Records, one JSON object per line: {"connected"}, {"begin": name}, {"end": name, "evidence",
// ...},
// {"finding": [question, answer]}, {"plot"}, {"no_session"}, and {"complete"} at the end, without
// which the process ended before its time.
#include "child.h"

#include <unistd.h>

#include <optional>

#include "records.h"

namespace kelpcheck {

using nlohmann::json;

void Context::send(const json &record) const {
  const std::string line = record.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
  for (size_t sent = 0; sent < line.size();) {
    const ssize_t n = write(descriptor_, line.data() + sent, line.size() - sent);
    if (n <= 0) _exit(1);  // the supervisor is gone
    sent += static_cast<size_t>(n);
  }
}

void Context::finding(const std::string &question, const std::string &answer) const {
  send({{"finding", {question, answer}}});
}

void Context::plot(const Plot &plot) const { send({{"plot", plot}}); }

void Context::connected() const { send({{"connected", true}}); }

namespace {

// Runs one step and returns why it ended early, if it did.
template <typename Step>
std::string attempt(Step &&step) {
  try {
    step();
    return "";
  } catch (const std::exception &error) {
    return error.what();
  }
}

}  // namespace

// Making the tree belongs to the first check, closing the session to the last one: whatever a call
// does, there is a check to be charged with it.
void run_family(const Family &family, const Options &options, int32_t first_node, int records) {
  Context c(options, records);
  std::optional<Bed> bed;
  for (size_t i = 0; i < family.checks.size(); ++i) {
    const Check &check = family.checks[i];
    c.evidence = {};
    c.progress(0, 0);
    c.send({{"begin", check.name}});
    const int64_t start = now_ns();
    std::string reason;
    if (!bed) {
      reason = attempt([&] {
        try {
          bed.emplace(c, family.tree, first_node);
        } catch (const NoSession &) {
          c.send({{"no_session", true}});
          throw;
        }
      });
    }
    if (bed) reason = attempt([&] { check.run(*bed); });
    const bool ends = !bed || i + 1 == family.checks.size();
    if (ends) bed.reset();
    c.send({{"end", check.name},
            {"evidence", c.evidence},
            {"reason", reason},
            {"seconds", static_cast<double>(now_ns() - start) / 1e9}});
    if (ends) break;
  }
  c.send({{"complete", true}});
}

}  // namespace kelpcheck
