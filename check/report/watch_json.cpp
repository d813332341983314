// The form is described in kelpcheck(1).
#include <nlohmann/json.hpp>

#include "report/watch_reports.h"
#include "report/watch_words.h"
#include "result/form.h"
#include "result/times.h"

namespace kelpcheck::watch {

using nlohmann::ordered_json;

namespace {

ordered_json codes_of(const Outage &outage) {
  ordered_json codes = ordered_json::array();
  for (const std::string &code : outage.codes) {
    const bool number = !code.empty() && code.find_first_not_of("-0123456789") == code.npos;
    if (number) {
      codes.push_back(std::stol(code));
    } else {
      codes.push_back(code);
    }
  }
  return codes;
}

ordered_json outages_of(const std::vector<Outage> &outages) {
  ordered_json list = ordered_json::array();
  for (const Outage &outage : outages) {
    list.push_back({{"begin", iso_text(outage.begin)},
                    {"seconds", outage.seconds},
                    {"over", outage.over},
                    {"failed_calls", outage.failed_calls},
                    {"skipped", outage.skipped},
                    {"codes", codes_of(outage)},
                    {"lost_seconds", outage.lost_seconds}});
  }
  return list;
}

ordered_json stalls_of(const std::vector<Stall> &stalls) {
  ordered_json list = ordered_json::array();
  for (const Stall &stall : stalls) {
    list.push_back(
        {{"begin", iso_text(stall.begin)}, {"seconds", stall.seconds}, {"skipped", stall.skipped}});
  }
  return list;
}

ordered_json patches_of(const WatchReport &report, const std::vector<Patch> &patches) {
  ordered_json list = ordered_json::array();
  for (const Patch &patch : patches) {
    ordered_json points = ordered_json::array();
    for (const Span &part : patch.points.parts()) {
      points.push_back({part.first + 1, part.last + 1});  // as they are named
    }
    list.push_back({{"first", iso_text(static_cast<double>(report.time_of(patch.steps.first)))},
                    {"last", iso_text(static_cast<double>(report.time_of(patch.steps.last)))},
                    {"points", points},
                    {"values", patch.values}});
  }
  return list;
}

ordered_json oddities_of(const std::vector<Oddity> &oddities) {
  ordered_json list = ordered_json::array();
  for (const Oddity &odd : oddities) {
    list.push_back({{"point", odd.point},
                    {"time", iso_text(static_cast<double>(odd.time))},
                    {"expected", odd.expected},
                    {"got", odd.got}});
  }
  return list;
}

ordered_json options_of(const WatchReport &report) {
  const Server &s = report.server;
  return {{"host", s.host},        {"port", s.port},           {"user", s.user},
          {"option", s.option},    {"route", s.route},         {"size", s.size},
          {"prefix", s.prefix},    {"database", s.database},   {"points", report.points},
          {"every", report.every}, {"settle", report.settle},  {"timeout", report.timeout},
          {"share", report.share}, {"journal", report.journal}};
}

}  // namespace

std::string watch_json(const WatchReport &report) {
  const Samples &samples = report.samples;
  ordered_json all{{"form", "kelpcheck"},
                   {"form_version", kFormVersion},
                   {"program_version", KELPCHECK_VERSION},
                   {"mode", report.mode},
                   {"verdict", name_of(report.verdict)},
                   {"exit_status", report.exit_status()},
                   {"summary", WatchWords(report).summary()},
                   {"reasons", report.reasons},
                   {"remarks", report.remarks},
                   {"library", report.library.path},
                   {"library_size", report.library.size},
                   {"library_sha256", report.library.sha256},
                   {"machine", report.machine},
                   {"started", iso_text(static_cast<double>(report.started))},
                   {"seconds", report.seconds},
                   {"options", options_of(report)}};
  if (report.first_time != 0) {
    all["first_step"] = iso_text(static_cast<double>(report.first_time));
  }
  all["steps"] = {{"acknowledged", report.steps.acknowledged},
                  {"failed", report.steps.failed},
                  {"unknown", report.steps.unknown},
                  {"skipped", report.steps.skipped},
                  {"not_watched", report.steps.not_watched}};
  all["samples"] = {{"acknowledged", samples.acknowledged},
                    {"present", samples.present},
                    {"lost", samples.lost},
                    {"changed", samples.changed},
                    {"foreign", samples.foreign},
                    {"recovered", samples.recovered}};
  all["verified"] = report.verified;
  all["judged_points"] = report.judged_points;
  all["stale_reads"] = report.reader.stale;
  all["foreign_reads"] = report.reader.foreign;
  all["holes"] = report.reader.holes;
  all["outages"] = outages_of(report.outages);
  all["reader_outages"] = outages_of(report.reader_outages);
  all["stalls"] = stalls_of(report.stalls);
  all["losses"] = patches_of(report, report.losses);
  all["changes"] = patches_of(report, report.changes);
  all["examples"] = oddities_of(report.oddities);
  all["examples_during_watch"] = oddities_of(report.reader.examples);
  all["writes"] = {{"typical", report.typical_write}, {"longest", report.longest_write}};
  all["verification"] = {{"rows", report.rows_read}, {"seconds", report.verify_seconds}};
  return all.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace kelpcheck::watch
