#include "run.h"

#include <algorithm>

namespace kelpcheck {

const char *name_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::passed: return "passed";
    case Verdict::failed: return "failed";
    default: return "not run";
  }
}

std::vector<std::string> CheckResult::explanation() const {
  std::vector<std::string> lines;
  if (!reason.empty()) lines.push_back(reason);
  if (evidence.differences > 0) {
    lines.push_back(text(evidence.where, ": expected ", evidence.expected, ", got ", evidence.got));
    if (evidence.differences > 1) {
      lines.push_back(text(evidence.differences, " differences in ", evidence.compared,
                           " comparisons; this was the first"));
    }
  }
  return lines;
}

size_t Run::count(Verdict verdict) const {
  return std::count_if(results.begin(), results.end(),
                       [&](const CheckResult &result) { return result.verdict == verdict; });
}

std::string Run::verdict() const {
  if (interrupted != 0) return "interrupted";
  if (count(Verdict::passed) == results.size()) return "passed";
  return !connected && count(Verdict::failed) == 0 ? "no connection" : "failed";
}

std::string Run::summary() const {
  const std::string of = text(" of ", results.size(), " checks");
  std::string line = count(Verdict::passed) == results.size()
                         ? text("all ", results.size(), " checks passed")
                         : text(count(Verdict::passed), of, " passed, ", count(Verdict::failed),
                                " failed, ", count(Verdict::not_run), " not run");
  if (results.size() < checks_in_all)
    line += text(" (", checks_in_all - results.size(), " left out)");
  return line + ", in " + duration_text(seconds * 1e9);
}

std::vector<std::pair<std::string, std::string>> Run::facts() const {
  const Options &o = options;
  const bool file = o.host.starts_with("file:");
  std::vector<std::pair<std::string, std::string>> all{
      {"When", clock_text(started) + " UTC, " + duration_text(seconds * 1e9)},
      {"From", machine},
      {"Server", file ? o.host : text(o.host, ", port ", o.port, ", user ", o.user)},
      {"Database", o.database},
      {"Library", library},
      {"Extent", text(o.points, " points under ", o.nodes, " nodes, ", o.samples,
                      " values per point and family; a call may take ", o.timeout, " s")},
      {"Program", "kelpcheck " KELPCHECK_VERSION}};
  if (o.option != 0) all.push_back({"Option word", text(o.option)});
  if (results.size() < checks_in_all) {
    std::string selection;
    for (const std::string &pattern : o.only) selection += " only " + pattern;
    for (const std::string &pattern : o.skip) selection += " without " + pattern;
    all.push_back(
        {"Selection", text(results.size(), " of ", checks_in_all, " checks:", selection)});
  }
  return all;
}

int Run::exit_status() const {
  if (interrupted != 0) return 128 + interrupted;
  if (verdict() == "passed") return 0;
  return verdict() == "failed" ? 1 : 3;
}

}  // namespace kelpcheck
