#include "load/run.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>

#include "load/read_back.h"
#include "load/search.h"
#include "load/steward.h"
#include "process/machine.h"
#include "process/waiting.h"
#include "result/clock.h"
#include "result/text.h"

namespace kelpcheck {

namespace {

constexpr int64_t kLateForSecond = kSecond / 5;  // after its end a second is shown
constexpr double kUncounted = 1;                 // seconds of a stage of the search
constexpr int kPatienceOverWithin = 10;

// Whatever the library says, a password is in no report. A short one would be in every other word.
void hide(const std::string &password, std::string &text) {
  constexpr size_t shortest = 4;
  if (password.size() < shortest) return;
  for (size_t at = 0; (at = text.find(password, at)) != std::string::npos;) {
    text.replace(at, password.size(), "***");
  }
}

}  // namespace

LoadRun::LoadRun(const LoadOptions &options, LoadReport &report, LoadWatcher watcher)
    : o_(options),
      report_(report),
      watcher_(std::move(watcher)),
      work_(options),
      steward_(make_steward(options)),
      team_(options, signals_) {}

void LoadRun::work() {
  const int64_t start = now_ns();
  if (open()) {
    require_room();
    auto keeper = std::make_unique<ClaimKeeper>(o_);
    if (make()) measure();
    keeper.reset();
    clean();
  }
  report_.interrupted = team_.interrupted();
  report_.figures = team_.figures();
  report_.seconds = seconds_since(start);
  remark();
}

// The steward's answer without the time, which goes to `time`; or how its process ended.
std::string LoadRun::ask_steward(const std::string &request, int64_t &time) {
  if (steward_->gone()) steward_ = make_steward(o_);
  steward_->ask(request);
  for (;;) {
    std::vector<int> descriptors = steward_->descriptors();
    descriptors.push_back(signals_.descriptor());
    wait_until(now_ns() + kSecond / 10, descriptors);
    if (team_.take_signal() > 1) return "ended by a second signal";
    const auto answer = steward_->take(o_.server.timeout);
    if (!answer) continue;
    if (!answer->end.empty()) return answer->end;
    const size_t space = answer->text.find(' ');
    time = std::strtoll(answer->text.c_str(), nullptr, 10);
    return answer->text.substr(space + 1);
  }
}

bool LoadRun::open() {
  watcher_.phase("making room");
  int64_t time = 0;
  report_.problem = ask_steward("open", time);
  report_.connected = time != 0;
  constexpr const char *refused = "refused ";
  if (report_.problem.starts_with(refused))
    throw std::runtime_error(report_.problem.substr(std::string(refused).size()));
  seconds_there_ = std::min<int64_t>(time, std::time(nullptr)) - o_.begin;
  return report_.connected;
}

bool LoadRun::make() {
  if (!report_.problem.empty()) return false;
  watcher_.phase(work_.filled() > 0 ? "making points and rows to be read" : "making points");
  report_.problem = Team::first_problem(team_.ask("make", [] {}));
  return !over();
}

void LoadRun::measure() {
  if (o_.find_limit) {
    search();
  } else {
    run_stage(o_.rate, o_.seconds, 0, "rate");
  }
  if (!over()) read_back();
}

// What is begun needs seconds for all of a fixed rate, or for a call of each session of a search.
void LoadRun::require_room() {
  const Schedule least{0, 1, o_.sessions, o_.sessions};
  if (over() || room_for(o_.find_limit ? least : schedule_of(o_.rate, o_.seconds))) return;
  remove();
  throw std::runtime_error(
      text("from ", clock_text(o_.begin), " to now there are ",
           with_thousands(std::max<int64_t>(seconds_there_, 0)),
           " seconds, and every row of a point has one of its own: this load needs more; use an "
           "earlier --begin, a lower --rate, a shorter --for, fewer --rows or more --points",
           report_.left.empty() ? "" : "; not cleared up: ", report_.left));
}

void LoadRun::search() {
  report_.searched = true;
  report_.burst = burst();
  if (over() || report_.burst <= 0) {
    if (report_.problem.empty()) report_.problem = "no call of the first second succeeded";
    return;
  }
  bool ran_out = false;
  report_.limit = find_limit(
      report_.burst, [&](double rate, const std::string &purpose) -> std::optional<LoadStage> {
        if (over()) return std::nullopt;
        const double calls = rate / work_.mean_rows();
        auto stage = run_stage(rate, stage_seconds(calls, kUncounted), kUncounted, purpose);
        ran_out = !stage && !over();
        const bool confirmed = stage && stage->kept_up && purpose == "confirmation";
        if (confirmed && work_.writes()) read_back();
        return stage;
      });
  if (ran_out) {
    const std::string end = "the seconds from " + clock_text(o_.begin) + " up to now ran out";
    report_.remarks.push_back(end + ", which ended the climb; --begin gives it more");
    if (report_.limit.reason.empty()) report_.limit.reason = end;
  }
  for (const int percent : {50, 80}) {
    const double rate = report_.limit.rows_per_second * percent / 100;
    if (rate <= 0 || over()) return;
    run_stage(rate, stage_seconds(rate / work_.mean_rows(), kUncounted), kUncounted,
              text(percent, " % of the limit"));
  }
}

// One call after another, for a second.
double LoadRun::burst() {
  watcher_.phase("measuring roughly");
  constexpr int64_t most_calls = 1'000'000'000;
  Schedule schedule{now_ns(), 1, most_calls, o_.sessions};
  while (schedule.calls > o_.sessions && !room_for(schedule)) schedule.calls /= 2;
  const int64_t until = schedule.begin + kSecond;
  for (size_t i = 0; i < team_.size(); ++i) {
    team_.board(i).begin_stage({schedule, schedule.begin, 0, 0, until});
  }
  report_.problem = Team::first_problem(team_.ask("stage", [] {}));
  int64_t rows = 0, end = until;
  for (size_t i = 0; i < team_.size(); ++i) {
    rows += team_.board(i).stage.all_rows;
    end = std::max(end, team_.board(i).stage.last_end);
  }
  return static_cast<double>(rows) * 1e9 / static_cast<double>(end - schedule.begin);
}

// Whether every session has seconds enough for its rows.
bool LoadRun::room_for(const Schedule &schedule) {
  for (int32_t i = 0; i < o_.sessions; ++i) {
    const int64_t writes =
        team_.board(static_cast<size_t>(i)).writes + work_.writes_among(schedule.calls_of(i));
    if (work_.seconds_needed(writes) > seconds_there_) return false;
  }
  return true;
}

Schedule LoadRun::schedule_of(double rate, double seconds) const {
  const double calls_per_second = rate / work_.mean_rows();
  const double calls = std::max(1.0, std::ceil(seconds * calls_per_second));
  const int64_t start_up = kSecond / 50 + kSecond / 500 * o_.sessions;
  return {now_ns() + start_up, 1e9 / calls_per_second, static_cast<int64_t>(std::min(calls, 1e15)),
          o_.sessions};
}

// Nothing where the seconds do not suffice, or the run is over.
std::optional<LoadStage> LoadRun::run_stage(double rate, double seconds, double uncounted,
                                            const std::string &purpose) {
  const Schedule schedule = schedule_of(rate, seconds);
  if (!room_for(schedule)) return std::nullopt;
  watcher_.phase(text(purpose, ": ", rate_text(rate), " values/s"));
  StageOrder order{schedule, schedule.begin + static_cast<int64_t>(uncounted * 1e9), 0, 0, 0};
  if (o_.find_limit) order.give_up = static_cast<int64_t>(o_.within * kPatienceOverWithin * 1e9);
  for (size_t i = 0; i < team_.size(); ++i) team_.board(i).begin_stage(order);
  team_.control().cut = INT64_MAX;
  next_second_ = 1;
  report_.last_seconds.clear();
  report_.problem = Team::first_problem(team_.ask("stage", [&] { watch_stage(order); }));
  StageSum sum(order);
  for (size_t i = 0; i < team_.size(); ++i) sum.add(team_.board(i).stage);
  take_seconds(schedule, std::max(sum.last_end, schedule.begin) + kSecond);
  const bool interrupted = team_.interrupted() != 0;
  if (interrupted) sum.interrupted = team_.control().cut;
  const bool cut = !interrupted && team_.control().cut < schedule.end();
  LoadStage stage = judge(sum, rate, o_.within, cut);
  stage.purpose = purpose;
  if (sum.calls == 0 && over()) return std::nullopt;
  report_.stages.push_back(stage);
  watcher_.stage(stage);
  if (over()) return std::nullopt;
  return stage;
}

// A call that hangs keeps its session from seeing how late the next one is.
void LoadRun::watch_stage(const StageOrder &order) {
  const int64_t now = now_ns();
  take_seconds(order.schedule, now - kLateForSecond);
  for (int32_t i = 0; order.give_up > 0 && i < o_.sessions; ++i) {
    const StageBoard &stage = team_.board(static_cast<size_t>(i)).stage;
    const int64_t waiting = stage.next + 1;
    if (waiting >= order.schedule.calls_of(i)) continue;
    const int64_t due = order.schedule.at(order.schedule.number(i, waiting));
    if (now - due > order.give_up) team_.control().end_at(now);
  }
}

// Tells of the seconds that ended before.
void LoadRun::take_seconds(const Schedule &schedule, int64_t until) {
  for (; schedule.begin + next_second_ * kSecond <= until; ++next_second_) {
    report_.last_seconds.push_back(second_of(schedule, next_second_));
    watcher_.second(report_.last_seconds.back(), next_second_);
  }
}

LoadSecond LoadRun::second_of(const Schedule &schedule, int64_t second) const {
  LoadSecond result;
  Figure latency{};
  for (size_t i = 0; i < team_.size(); ++i) {
    const SecondSlot &slot = team_.board(i).stage.seconds[second % kSecondsKept];
    if (slot.second != second) continue;
    latency.merge(slot.latency);
    result.failures += slot.failures;
  }
  const int64_t begin = schedule.begin + (second - 1) * kSecond;
  const int64_t cut = team_.control().cut;
  const int64_t due = schedule.due(std::min(begin, cut), std::min(begin + kSecond, cut));
  result.offered = static_cast<double>(due) * work_.mean_rows();
  result.achieved = static_cast<double>(latency.rows);
  result.p99 = latency_of(latency).p99;
  const int64_t due_now = schedule.due(schedule.begin, std::min(now_ns(), cut));
  result.backlog = std::max<int64_t>(due_now - calls_done(), 0);
  return result;
}

int64_t LoadRun::calls_done() const {
  int64_t done = 0;
  for (size_t i = 0; i < team_.size(); ++i) done += team_.board(i).stage.done;
  return done;
}

void LoadRun::read_back() {
  if (!o_.read_back) return;
  watcher_.phase("reading back");
  const std::vector<std::string> answers = team_.ask("read back", [] {});
  if (team_.interrupted() != 0) return;
  for (const std::string &answer : answers) {
    const ReadBackAccount account = ReadBackAccount::from(answer);
    if (!account.valid) {
      report_.problem = answer;
      return;
    }
    const bool first = report_.evidence.differences == 0;
    report_.evidence.compared += account.evidence.compared;
    report_.evidence.differences += account.evidence.differences;
    if (first && account.evidence.differences > 0) {
      report_.evidence.keep(account.evidence.where, account.evidence.expected,
                            account.evidence.got);
    }
    if (!account.how.empty()) report_.read_how = account.how;
  }
  report_.read_back = true;
}

void LoadRun::clean() {
  if (o_.keep) {
    report_.remarks.push_back("the rows stay on the server (--keep)");
    return;
  }
  remove();
}

void LoadRun::remove() {
  watcher_.phase("clearing up");
  int64_t time = 0;
  const std::string problem = ask_steward("clean", time);
  if (!problem.empty()) report_.left = problem;
}

void LoadRun::remark() {
  for (size_t i = 0; i < team_.size(); ++i) report_.rows_written += team_.board(i).written;
  double waiting = 0;
  for (const LoadStage &stage : report_.stages) waiting = std::max(waiting, stage.host_waiting);
  constexpr double much = 0.1;
  if (waiting > much) {
    report_.remarks.push_back(text("this host was busy: the sessions waited up to ",
                                   std::lround(waiting * 100), " % of their time for a processor"));
  }
  if (!report_.left.empty()) report_.remarks.push_back("not cleared up: " + report_.left);
  if (!team_.said().empty()) report_.remarks.push_back("library: " + team_.said());
  for (std::string &text : report_.remarks) hide(o_.server.password, text);
  hide(o_.server.password, report_.problem);
}

}  // namespace kelpcheck
