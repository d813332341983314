// The form is described in kelpcheck(1).
#include <nlohmann/json.hpp>

#include "report/load_reports.h"
#include "report/load_words.h"
#include "result/form.h"
#include "result/text.h"

namespace kelpcheck {

using nlohmann::ordered_json;

namespace {

ordered_json latency_json(const Latency &latency) {
  return {{"median", latency.median},
          {"p95", latency.p95},
          {"p99", latency.p99},
          {"p99.9", latency.p999},
          {"longest", latency.longest}};
}

ordered_json batches_json(const std::vector<LoadBatch> &batches) {
  ordered_json all = ordered_json::array();
  for (const LoadBatch &batch : batches) {
    all.push_back({{"calls", batch.calls},
                   {"mean", batch.mean},
                   {"median", batch.median},
                   {"p95", batch.p95},
                   {"p99", batch.p99}});
  }
  return all;
}

ordered_json stage_json(const LoadStage &stage) {
  return {{"purpose", stage.purpose},
          {"offered", stage.offered},
          {"achieved", stage.achieved},
          {"calls", stage.calls},
          {"failures", stage.failures},
          {"seconds", stage.seconds},
          {"latency", latency_json(stage.latency)},
          {"service", latency_json(stage.service)},
          {"most_late", stage.most_late},
          {"backlog", stage.backlog},
          {"kept_up", stage.kept_up},
          {"limited_by", name_of(stage.limited_by)},
          {"reason", stage.reason},
          {"share_outside_library", stage.outside},
          {"late_99", stage.late},
          {"share_waiting_for_processor", stage.host_waiting},
          {"batches", batches_json(stage.batches)}};
}

ordered_json seconds_json(const std::vector<LoadSecond> &seconds) {
  ordered_json all = ordered_json::array();
  for (const LoadSecond &second : seconds) {
    all.push_back({{"offered", second.offered},
                   {"achieved", second.achieved},
                   {"failures", second.failures},
                   {"p99", second.p99},
                   {"backlog", second.backlog}});
  }
  return all;
}

ordered_json read_back_json(const LoadReport &report) {
  const Evidence &e = report.evidence;
  ordered_json read{{"done", report.read_back},
                    {"how", report.read_how},
                    {"compared", e.compared},
                    {"differences", e.differences}};
  if (e.differences > 0) {
    read["first_difference"] = {{"where", e.where}, {"expected", e.expected}, {"got", e.got}};
  }
  return read;
}

}  // namespace

std::string load_json(const LoadReport &report) {
  ordered_json options;
  for (const auto &[name, value] : report.texts) options[name] = value;
  for (const auto &[name, value] : report.numbers) options[name] = value;
  ordered_json json{{"form", "kelpcheck"},
                    {"form_version", kFormVersion},
                    {"mode", "load"},
                    {"program_version", KELPCHECK_VERSION},
                    {"verdict", report.verdict()},
                    {"exit_status", report.exit_status()},
                    {"summary", report.summary()},
                    {"library", report.library.path},
                    {"library_size", report.library.size},
                    {"library_sha256", report.library.sha256},
                    {"machine", report.machine},
                    {"started", clock_text(report.started)},
                    {"seconds", report.seconds},
                    {"seconds_in_calls", double(report.figures.time_in_calls()) / 1e9},
                    {"options", options},
                    {"work", report.work},
                    {"stages", ordered_json::array()},
                    {"rows_written", report.rows_written},
                    {"read_back", read_back_json(report)},
                    {"remarks", report.remarks}};
  for (const LoadStage &stage : report.stages) json["stages"].push_back(stage_json(stage));
  if (report.searched) {
    json["burst_rows_per_second"] = report.burst;
    json["limit"] = {{"rows_per_second", report.limit.rows_per_second},
                     {"limited_by", name_of(report.limit.limited_by)},
                     {"confirmed", report.limit.confirmed},
                     {"beyond", report.limit.beyond},
                     {"reason", report.limit.reason}};
  }
  json["last_stage_seconds"] = seconds_json(report.last_seconds);
  return json.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace kelpcheck
