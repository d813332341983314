#include "result/run.h"

#include <algorithm>

namespace kelpcheck {

std::string JudgedLibrary::words() const {
  if (path.empty()) return "none with kelp2_init";
  const std::string sum = sha256.empty() ? "not known: there is no sha256sum" : sha256;
  return text(with_thousands(size), " bytes, SHA-256 ", sum);
}

std::string Server::where() const {
  if (host.starts_with("file:")) return host;
  return text(host, ", port ", port, ", user ", user);
}

const char *name_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::passed: return "passed";
    case Verdict::failed: return "failed";
    case Verdict::unknown: return "unknown";
    case Verdict::moot: return "does not apply";
    default: return "not run";
  }
}

std::vector<std::string> CheckResult::explanation() const {
  std::vector<std::string> lines;
  if (!reason.empty()) lines.push_back(reason);
  if (evidence.differences > 0) {
    lines.push_back(text(evidence.where, ": expected ", evidence.expected, ", got ", evidence.got));
    for (const std::string &step : evidence.steps) lines.push_back("  " + step);
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
  if (!refusal.empty()) return "refused";
  if (count(Verdict::failed) > 0) return "failed";
  if (!connected) return "no connection";
  if (count(Verdict::unknown) > 0) return "unknown";
  return count(Verdict::not_run) > 0 ? "failed" : "passed";
}

std::vector<std::string> Run::unusual() const {
  std::vector<std::string> lines;
  for (const Habit &habit : habits) {
    if (!habit.constant || !habit.differs) continue;
    lines.push_back(text(habit.question, " ", habit.answer, " (bundled: ", habit.bundled, ")"));
  }
  return lines;
}

std::string Run::summary() const {
  if (!refusal.empty()) return refusal;
  std::string line = text("all ", results.size(), " checks passed");
  if (count(Verdict::passed) < results.size()) {
    line = text(count(Verdict::passed), " of ", results.size(), " checks passed");
    for (const Verdict verdict : {Verdict::failed, Verdict::unknown, Verdict::not_run}) {
      const bool always = verdict != Verdict::unknown;
      if (always || count(verdict) > 0) line += text(", ", count(verdict), " ", name_of(verdict));
    }
    if (count(Verdict::moot) > 0) line += text(", ", count(Verdict::moot), " do not apply");
  }
  if (results.size() < checks_in_all)
    line += text(" (", checks_in_all - results.size(), " left out)");
  if (connected) line += text(", ", options.points, " points x ", options.samples, " rows");
  const size_t differing = unusual().size();
  if (differing > 0)
    line += text(", ", differing, differing == 1 ? " habit" : " habits",
                 " unlike the bundled library's");
  return line + ", in " + duration_text(seconds * 1e9);
}

std::vector<std::pair<std::string, std::string>> Run::facts() const {
  const CheckOptions &o = options;
  std::vector<std::pair<std::string, std::string>> all{
      {"When", clock_text(started) + " UTC, " + duration_text(seconds * 1e9)},
      {"From", machine},
      {"Server", o.server.where()},
      {"Database", o.server.database},
      {"Library", library.path},
      {"Library file", library.words()},
      {"Extent", text(o.points, " points under ", o.nodes, " nodes, ", o.samples,
                      " values per point and family; a call may take ", o.server.timeout, " s")},
      {"Program", "kelpcheck " KELPCHECK_VERSION}};
  all.push_back({"Options",
                 text("option word ", o.server.option, ", buffer route ", o.server.route, ", size ",
                      o.server.size, ", prefix ", o.server.prefix, ", clocks at most ", o.max_skew,
                      " s apart, ", o.settle, " s to settle", o.keep ? ", tree kept" : "")});
  if (o.explore > 0) all.push_back({"Sequences", text("made from seed ", o.seed)});
  if (results.size() < checks_in_all) {
    std::string selection;
    for (const std::string &pattern : o.only) selection += ", only " + pattern;
    for (const std::string &pattern : o.skip) selection += ", without " + pattern;
    all.push_back({"Selection", text(results.size(), " of ", checks_in_all, " checks", selection)});
  }
  return all;
}

std::string Run::next_step() const {
  if (verdict() != "no connection" || results.empty()) return "";
  const ServerOptions &o = options.server;
  if (results[0].output.find("undefined symbol") != std::string::npos) {
    return "Put the folder of a library that has all operations into LD_LIBRARY_PATH; this one "
           "is " +
           library.path;
  }
  if (o.host.starts_with("file:")) {
    return "Make sure that the folder exists, that this user may write to it and the file, and "
           "that "
           "the "
           "file, if there is one, is a store.";
  }
  return text("Make sure that a server answers at ", o.host, ", port ", o.port,
              " (-H, -C), and knows user ", o.user,
              " with this password (-U, and -P, --password-file or KELP_PASSWORD).");
}

int Run::exit_status() const {
  if (interrupted != 0) return 128 + interrupted;
  const std::string word = verdict();
  if (word == "passed") return 0;
  if (word == "unknown") return 4;
  if (word == "refused") return 2;
  return word == "failed" ? 1 : 3;
}

}  // namespace kelpcheck
