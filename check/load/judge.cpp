#include "load/judge.h"

#include <algorithm>

#include "result/text.h"

namespace kelpcheck {

namespace {

constexpr double kNano = 1e-9;
// Above this share of their time outside the library, the sessions are what is measured.
constexpr double kOwnShare = 0.2;

// The share of its time that a session spent outside the library, as it would be with nobody else
// on this host: time in which it waited for a processor falls on both sides alike, and counts on
// neither.
double share_outside(const StageBoard &s) {
  const auto outside = static_cast<double>(s.wall - s.waited - s.in_library);
  const auto processor = static_cast<double>(s.on_processor);
  const auto delayed = static_cast<double>(s.waited_for_processor);
  const double time = static_cast<double>(s.wall) - delayed;
  if (outside <= 0 || processor <= 0 || time <= 0) return 0;
  const double own = std::min(outside / (1 + delayed / processor), processor);
  return std::clamp(own / time, 0.0, 1.0);
}

std::string why(const StageSum &sum, const LoadStage &stage, double within) {
  if (sum.failures > 0) return text(sum.failures, " of ", sum.calls, " calls failed");
  if (stage.overloaded) return "the backlog grows";
  if (stage.ended_early)
    return "calls were " + duration_text(static_cast<double>(sum.most_late)) + " late";
  if (stage.latency.p99 > within)
    return "calls took up to " + duration_text(stage.latency.p99 / kNano) + " (99 %)";
  return "";
}

// Whether calls that waited for nobody began late because of the sessions themselves: a busy host
// wakes them late too, and a few late ones are anybody's.
bool starts_late(const StageSum &sum, double within) {
  const bool often = sum.late.calls > 0 && sum.late.quantile(0.9) * kNano > within / 2;
  return often && 2 * sum.waited_for_processor < sum.late.total;
}

LimitedBy limit_of(const StageSum &sum, const LoadStage &stage, double within) {
  if (stage.kept_up) return LimitedBy::none;
  if (sum.failures > 0) return LimitedBy::server;
  if (stage.outside > kOwnShare) return LimitedBy::client;
  return starts_late(sum, within) ? LimitedBy::client : LimitedBy::server;
}

std::vector<LoadBatch> batches_of(const StageSum &sum) {
  std::vector<LoadBatch> batches;
  for (const StagePart &slice : sum.slices) {
    const Figure &f = slice.latency;
    if (f.calls == 0) continue;
    const double mean = static_cast<double>(f.total) / static_cast<double>(f.calls);
    const auto seconds = [&](double share) { return f.quantile(share) * kNano; };
    batches.push_back({f.calls, mean * kNano, seconds(0.5), seconds(0.95), seconds(0.99)});
  }
  return batches;
}

}  // namespace

// A call that never came to an end leaves no mark in its slice, so that the latest of the sessions
// is what counts.
void StageSum::add(const StageBoard &s) {
  calls += s.calls;
  failures += s.failures;
  all_rows += s.all_rows;
  most_late = std::max(most_late, s.most_late);
  last_end = std::max(last_end, s.last_end);
  latency.merge(s.latency);
  service.merge(s.service);
  late.merge(s.late);
  for (int i = 0; i < kSlices; ++i) {
    slices[i].latency.merge(s.slices[i].latency);
    slices[i].least_late = std::max(slices[i].least_late, s.slices[i].least_late);
  }
  outside += share_outside(s);
  waited_for_processor += s.waited_for_processor;
  if (s.wall > 0) {
    host_waiting += static_cast<double>(s.waited_for_processor) / static_cast<double>(s.wall);
  }
  ++sessions;
}

bool backlog_grows(const std::vector<int64_t> &least_late, int64_t part) {
  constexpr size_t quarters = 4;
  constexpr double tolerated = 0.01;
  const size_t parts = least_late.size();
  if (parts < quarters) return false;
  int64_t first = 0, before = -1;
  for (size_t quarter = 0; quarter < quarters; ++quarter) {
    const int64_t *begin = least_late.data() + quarter * parts / quarters;
    const int64_t *end = least_late.data() + (quarter + 1) * parts / quarters;
    const int64_t least = *std::min_element(begin, end);
    if (least <= before) return false;
    if (quarter == 0) first = least;
    before = least;
  }
  const auto time = static_cast<double>(part) * static_cast<double>(parts);
  const double from_first_to_last_quarter = time * 3 / 4;
  const auto growth = static_cast<double>(before - first);
  return growth > tolerated * from_first_to_last_quarter;
}

LoadStage judge(const StageSum &sum, double offered, double within, bool cut) {
  const Schedule &schedule = sum.order.schedule;
  const int64_t counted = schedule.end() - sum.order.counted_from;
  LoadStage stage;
  stage.offered = offered;
  stage.calls = sum.calls;
  stage.failures = sum.failures;
  stage.rows = sum.latency.rows;
  const int64_t end = std::max(std::min(schedule.end(), sum.interrupted), sum.last_end);
  stage.seconds = static_cast<double>(end - schedule.begin) * kNano;
  const int64_t until = cut ? sum.last_end : end;
  const auto time = static_cast<double>(until - sum.order.counted_from) * kNano;
  if (time > 0) stage.achieved = static_cast<double>(sum.latency.rows) / time;
  stage.latency = latency_of(sum.latency);
  stage.service = latency_of(sum.service);
  stage.most_late = static_cast<double>(sum.most_late) * kNano;
  stage.backlog = static_cast<int64_t>(static_cast<double>(sum.most_late) / schedule.interval);
  stage.late = sum.late.quantile(0.99) * kNano;
  if (sum.sessions > 0) {
    stage.outside = sum.outside / sum.sessions;
    stage.host_waiting = sum.host_waiting / sum.sessions;
  }
  std::vector<int64_t> least_late;
  for (const StagePart &slice : sum.slices) {
    if (slice.latency.calls > 0) least_late.push_back(slice.least_late);
  }
  stage.ended_early = cut;
  stage.overloaded = backlog_grows(least_late, counted / kSlices);
  stage.reason = why(sum, stage, within);
  if (sum.calls == 0) stage.reason = "no call ended";
  stage.kept_up = stage.reason.empty();
  stage.limited_by = limit_of(sum, stage, within);
  stage.batches = batches_of(sum);
  return stage;
}

}  // namespace kelpcheck
