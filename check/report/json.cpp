// The form is described in kelpcheck(1); its version is raised when a field changes its meaning or
// is removed.
#include "report/reports.h"
#include "result/evidence_json.h"
#include "result/form.h"

namespace kelpcheck {

using nlohmann::ordered_json;

namespace {

ordered_json options_of(const CheckOptions &o) {
  const ServerOptions &s = o.server;
  return {{"host", s.host},         {"port", s.port},
          {"user", s.user},         {"option", s.option},
          {"route", s.route},       {"size", s.size},
          {"database", s.database}, {"points", o.points},
          {"nodes", o.nodes},       {"samples", o.samples},
          {"timeout", s.timeout},   {"max_skew", o.max_skew},
          {"settle", o.settle},     {"begin", clock_text(o.begin)},
          {"expect", o.expect},     {"only", o.only},
          {"skip", o.skip},         {"prefix", s.prefix},
          {"keep", o.keep},         {"explore", o.explore},
          {"seed", o.seed},         {"explore_calls", o.explore_calls}};
}

ordered_json check_of(const CheckResult &result) {
  ordered_json check{{"name", result.name},
                     {"family", result.family},
                     {"promise", result.promise},
                     {"verdict", name_of(result.verdict)},
                     {"seconds", result.seconds},
                     {"compared", result.evidence.compared},
                     {"differences", result.evidence.differences}};
  if (result.evidence.differences > 0) {
    check["first_difference"] = {{"where", result.evidence.where},
                                 {"expected", result.evidence.expected},
                                 {"got", result.evidence.got}};
    if (!result.evidence.steps.empty()) check["first_difference"]["steps"] = result.evidence.steps;
  }
  if (!result.reason.empty()) check["reason"] = result.reason;
  if (!result.output.empty()) check["library_output"] = result.output;
  return check;
}

// Means of successive calls, for comparing this run with another: numbers of calls and seconds of
// one.
ordered_json batches_of(const Batches &batches) {
  ordered_json calls = ordered_json::array(), seconds = ordered_json::array();
  for (const Batches::Batch &batch : batches.all()) {
    calls.push_back(batch.calls);
    seconds.push_back(batch.mean() / 1e9);
  }
  return {{"calls", calls}, {"seconds", seconds}};
}

ordered_json figures_object(const Figures &figures) {
  ordered_json all = ordered_json::array();
  for (int op = 0; op < kOperations; ++op) {
    const Figure &f = figures.all[op];
    all.push_back({{"operation", kOperationNames[op]},
                   {"calls", f.calls},
                   {"rows", f.rows},
                   {"failures", f.failures},
                   {"rows_per_second", f.rows_per_second()},
                   {"seconds", double(f.total) / 1e9},
                   {"shortest", double(f.shortest) / 1e9},
                   {"median", f.quantile(0.5) / 1e9},
                   {"percentile_95", f.quantile(0.95) / 1e9},
                   {"longest", double(f.longest) / 1e9},
                   {"batches", batches_of(f.batches)}});
  }
  return all;
}

}  // namespace

std::string json_report(const Run &run) {
  ordered_json report{{"form", "kelpcheck"},
                      {"form_version", kFormVersion},
                      {"program_version", KELPCHECK_VERSION},
                      {"verdict", run.verdict()},
                      {"exit_status", run.exit_status()},
                      {"summary", run.summary()},
                      {"library", run.library.path},
                      {"library_size", run.library.size},
                      {"library_sha256", run.library.sha256},
                      {"machine", run.machine},
                      {"started", clock_text(run.started)},
                      {"seconds", run.seconds},
                      {"seconds_in_calls", double(run.figures.time_in_calls()) / 1e9},
                      {"options", options_of(run.options)},
                      {"checks", ordered_json::array()},
                      {"findings", ordered_json::array()}};
  for (const CheckResult &result : run.results) report["checks"].push_back(check_of(result));
  report["habits"] = ordered_json::array();
  for (const Habit &habit : run.habits) {
    report["habits"].push_back({{"code", habit.code},
                                {"question", habit.question},
                                {"constant", habit.constant},
                                {"state", habit.state},
                                {"answer", habit.answer},
                                {"bundled", habit.bundled},
                                {"differs", habit.differs}});
  }
  for (const auto &[question, answer] : run.findings) {
    report["findings"].push_back({{"question", question}, {"answer", answer}});
  }
  report["figures"] = figures_object(run.figures);
  if (const std::string next = run.next_step(); !next.empty()) report["next_step"] = next;
  if (!run.plot.title.empty()) report["block"] = nlohmann::json(run.plot);
  return report.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace kelpcheck
