#include "result/load.h"

#include <cmath>

#include "result/text.h"

namespace kelpcheck {

const char *name_of(LimitedBy limit) {
  switch (limit) {
    case LimitedBy::server: return "server";
    case LimitedBy::client: return "client";
    default: return "none";
  }
}

// Of fewer than a hundred calls, 99 % are all of them.
Latency latency_of(const Figure &figure) {
  constexpr double nano = 1e-9;
  const auto quantile = [&](double share) {
    const bool few = static_cast<double>(figure.calls) * (1 - share) < 1 && share > 0.5;
    return (few ? static_cast<double>(figure.longest) : figure.quantile(share)) * nano;
  };
  return {quantile(0.5), quantile(0.95), quantile(0.99), quantile(0.999),
          static_cast<double>(figure.longest) * nano};
}

std::string LoadReport::verdict() const {
  if (interrupted != 0) return "interrupted";
  if (evidence.differences > 0) return "failed";
  if (!connected) return "no connection";
  int64_t done = 0;
  for (const LoadStage &stage : stages) done += stage.calls - stage.failures;
  return done > 0 ? "measured" : "nothing measured";
}

int LoadReport::exit_status() const {
  constexpr int read_back_wrong = 1, no_connection = 3, nothing = 4;
  const std::string word = verdict();
  if (word == "interrupted") return 128 + interrupted;
  if (word == "failed") return read_back_wrong;
  if (word == "no connection") return no_connection;
  return word == "measured" ? 0 : nothing;
}

namespace {

std::string seconds_text(double seconds) { return duration_text(seconds * 1e9); }

std::string over(int32_t sessions) {
  return text(" over ", sessions, sessions == 1 ? " session" : " sessions");
}

}  // namespace

std::string LoadReport::summary() const {
  if (evidence.differences > 0) {
    return text(evidence.where, ": expected ", evidence.expected, ", got ", evidence.got, "; ",
                evidence.differences, " differences in ", evidence.compared, " values read back");
  }
  if (!problem.empty()) return problem;
  if (stages.empty())
    return "nothing was measured" + (limit.reason.empty() ? "" : ": " + limit.reason);
  if (searched && limit.rows_per_second > 0) {
    const bool at_least = limit.limited_by != LimitedBy::server;
    std::string line = text("takes ", at_least ? "at least " : "",
                            with_thousands(std::llround(limit.rows_per_second)), " values/s",
                            over(sessions), " with 99 % of calls within ", seconds_text(within));
    if (!limit.confirmed) line += " (not confirmed by a second run)";
    if (limit.beyond > 0)
      line += text("; at ", with_thousands(std::llround(limit.beyond)), " ", limit.reason);
    if (limit.beyond <= 0 && !limit.reason.empty()) line += "; " + limit.reason;
    if (limit.limited_by == LimitedBy::client)
      line += ", which is the limit of this program itself";
    return line;
  }
  if (searched && !limit.reason.empty())
    return "keeps up with none of the rates that were tried: " + limit.reason;
  const LoadStage &stage = stages.back();
  std::string latency = ", 99 % within " + seconds_text(stage.latency.p99) + ", longest " +
                        seconds_text(stage.latency.longest);
  if (stage.failures == stage.calls) latency.clear();
  return text(with_thousands(std::llround(stage.achieved)), " of ",
              with_thousands(std::llround(stage.offered)), " values/s", over(sessions), ", ",
              stage.failures, " of ", stage.calls, " calls failed", latency,
              stage.kept_up ? "" : "; does not keep up: " + stage.reason);
}

}  // namespace kelpcheck
