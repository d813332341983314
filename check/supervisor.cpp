#include "supervisor.h"

#include <algorithm>
#include <ctime>
#include <optional>

#include "family_runner.h"
#include "habits/expected.h"
#include "result/evidence_json.h"

namespace kelpcheck {

using nlohmann::json;

namespace {

const std::string kInterrupted = "interrupted";
constexpr int kTickMilliseconds = 100;
constexpr size_t kMostOutput = 4000;  // bytes kept of what the library prints during a check

}  // namespace

// A family's process, or the want of one.
struct Supervisor::FamilyChild {
  std::optional<Child> process;
  std::string output;  // since the check began
  size_t next, last;   // from, and behind, those of the run's checks that have not ended yet
  int64_t began = 0;   // the check that runs; 0 while none does
  bool complete = false;
  bool no_session = false;
};

Supervisor::Supervisor(Run &run, const Plan &plan, Watcher watcher)
    : run_(run),
      plan_(plan),
      watcher_(std::move(watcher)),
      habits_(expected_habits(run.options.expect)),
      begin_(run.options.begin),
      holder_(Holder::of_this_process(plan.last_node)) {}

void Supervisor::open_results() {
  run_.started = std::time(nullptr);
  run_.checks_in_all = plan_.checks_in_all;
  for (const Family &family : plan_.families) {
    for (const Check &check : family.checks) {
      CheckResult &result = run_.results.emplace_back();
      result.name = check.name;
      result.family = family.name;
      result.promise = check.promise;
    }
  }
}

void Supervisor::work() {
  const int64_t start = now_ns();
  open_results();
  // Of a found tree the family before it made the nodes.
  Numbers tree{1, 0};
  size_t first_check = 0;
  for (const Family &family : plan_.families) {
    const int32_t count = node_numbers(family.tree, run_.options.nodes);
    if (count > 0) tree = {tree.first + tree.count, count};
    cleaning_up_ = &family == &plan_.families.back() && !run_.options.keep;
    run_family(family, first_check, tree);
    first_check += family.checks.size();
  }
  tell_habits();
  renewer_.reset();
  run_.figures = board_->calls.figures;
  run_.seconds = seconds_since(start);
}

void Supervisor::run_family(const Family &family, size_t first_check, const Numbers &nodes) {
  FamilyChild child{{}, "", first_check, first_check + family.checks.size()};
  const std::string why_not = obstacle(family, first_check == 0);
  if (!why_not.empty()) {
    end_early(child, why_not);
    return;
  }
  board_->calls.begin();
  child.process.emplace([&](RecordPipe records) {
    CheckContext c(run_.options, holder_, *board_, records);
    c.habits = habits_;
    c.limits = limits_;
    c.begin = begin_;
    kelpcheck::run_family(family, nodes.first, c);
    return 0;
  });
  watch(child);
  if (!family.keeps_tree && family.tree != Tree::none) remove_tree(nodes);
}

// In a process of its own, so that the tree goes after a crash too. It is no check: what it cannot
// do is left to the end of the run.
void Supervisor::remove_tree(const Numbers &nodes) {
  if (run_.interrupted != 0 || run_.options.keep || removal_hangs_) return;
  FamilyChild child{};
  board_->calls.begin();
  child.process.emplace([&](RecordPipe records) {
    CheckContext c(run_.options, holder_, *board_, records);
    remove_nodes(nodes.first, nodes.first + nodes.count - 1, c);
    return 0;
  });
  removal_hangs_ = !watch(child);
}

// Why the family cannot run, if it cannot.
std::string Supervisor::obstacle(const Family &family, bool opening) const {
  if (run_.interrupted != 0 && !(cleaning_up_ && claimed_)) return kInterrupted;
  if (opening) return "";
  if (!run_.refusal.empty()) return "nothing was begun";
  if (!run_.connected) return kNoSession;
  if (!claimed_) return "run.open did not end";
  return came_to_its_end(family.after) ? "" : family.after + " did not end";
}

// No check, or one that was not ended from outside.
bool Supervisor::came_to_its_end(const std::string &check) const {
  return std::none_of(run_.results.begin(), run_.results.end(), [&](const CheckResult &result) {
    return result.name == check && !result.reason.empty();
  });
}

// Until the process has ended, or cannot be ended; what it still sent is taken after that. Whether
// it ended by itself.
bool Supervisor::watch(FamilyChild &child) {
  Child &process = *child.process;
  const double timeout = run_.options.server.timeout;
  const CallBoard &calls = board_->calls;
  std::string reason;
  int64_t killed = 0;
  while (!process.ended() && (killed == 0 || seconds_since(killed) < kKillPatience)) {
    wait_readable({process.records(), process.output(), signals_.descriptor()}, kTickMilliseconds);
    take_records(child);
    renew_claim();
    if (const int asked = signals_.take(); asked != 0) {
      run_.interrupted = asked;
      reason = kInterrupted;
    }
    if (reason.empty() && calls.overdue(timeout)) reason = calls.overdue_text(timeout);
    if (!reason.empty() && killed == 0) {
      process.kill();
      killed = now_ns();
    }
    if (child.began != 0) {
      const Progress progress{board_->done, board_->total, board_->unit,
                              seconds_since(child.began)};
      watcher_.tick(run_.results[child.next], progress);
    }
  }
  take_records(child);
  if (child.complete) reason = "the check before it could not begin";
  end_early(child, reason.empty() ? calls.end_text(process.status()) : reason);
  return killed == 0;
}

// The renewer may hang or end like any other caller of the library, and is started again then.
void Supervisor::renew_claim() {
  constexpr double pause = 2;  // seconds
  if (!claimed_) return;
  if (renewer_) {
    renewer_->take_output();
    const bool lost = renewer_->ended() || renewing_->overdue(run_.options.server.timeout);
    if (!lost || seconds_since(renewer_started_) < pause) return;
  }
  renewer_.reset();
  renewing_->begin();
  renewer_started_ = now_ns();
  renewer_.emplace([&](RecordPipe) {
    Context c(run_.options.server, *renewing_);
    keep_claim(c, holder_);
    return 0;
  });
}

// The rest of a family that came to no end: the check that ran has failed, the others have not run.
void Supervisor::end_early(FamilyChild &child, const std::string &reason) {
  for (; child.next < child.last; ++child.next) {
    CheckResult &result = run_.results[child.next];
    const bool charged = child.began != 0 && reason != kInterrupted;
    if (charged) result.seconds = seconds_since(child.began);
    result.output = redacted(child.output);
    const bool failed = charged && run_.connected;
    finish(result, failed ? Verdict::failed : Verdict::not_run, reason);
    child.began = 0;
    child.output.clear();
  }
}

void Supervisor::finish(CheckResult &result, Verdict verdict, const std::string &reason) {
  result.verdict = verdict;
  result.reason = redacted(reason);
  watcher_.ended(result);
}

// What was printed before a record was sent is there when the record is.
void Supervisor::take_records(FamilyChild &child) {
  const std::vector<std::string> lines = child.process->take_records();
  take_output(child);
  for (const std::string &line : lines) {
    const json record = json::parse(line, nullptr, false);
    if (record.is_object()) take(child, record);
  }
}

void Supervisor::take_output(FamilyChild &child) {
  child.output += child.process->take_output();
  if (child.output.size() > kMostOutput) child.output.resize(kMostOutput);
}

void Supervisor::take(FamilyChild &child, const json &record) {
  if (record.contains("connected")) run_.connected = true;
  if (record.contains("claimed")) claimed_ = true;
  if (record.contains("complete")) child.complete = true;
  if (record.contains("no_session")) child.no_session = true;
  if (record.contains("begin")) child.began = now_ns();
  if (record.contains("finding")) add_finding(record["finding"]);
  if (record.contains("habit")) take_habit(record["habit"]);
  if (record.contains("data_begin")) begin_ = record["data_begin"];
  if (record.contains("waited")) habits_.longest_wait = record["waited"];
  if (record.contains("limits")) take_limits(record["limits"]);
  if (record.contains("plot")) run_.plot = record["plot"];
  if (record.contains("end")) take_end(child, record);
}

void Supervisor::take_habit(const json &record) {
  habits_.adopt(static_cast<Question>(record["question"].get<int>()),
                Answers::from_bits(record["left"]), {record["where"], record["got"]},
                record["unknown"]);
}

void Supervisor::take_limits(const json &record) { limits_ = {record[0], record[1], record[2]}; }

void Supervisor::tell_habits() {
  if (run_.connected) habits_.read(Question::waiting, Answer::at_once, {"all readings", "at once"});
  for (const QuestionEntry &entry : all_questions()) {
    const Answers left = habits_.left(entry.question);
    const std::string &unknown = habits_.unknown(entry.question);
    Habit habit;
    habit.code = entry.code;
    habit.question = entry.text;
    habit.constant = entry.constant;
    habit.bundled = entry.answers.front().text;
    habit.answer = unknown.empty() ? entry.text_of(left) : unknown;
    habit.state = left == Answers::one_of(left) ? "known" : "open";
    if (!habits_.asked(entry.question)) habit.state = "not asked";
    if (!unknown.empty()) habit.state = "unknown";
    habit.differs = habits_.asked(entry.question) && !left.has(entry.bundled());
    if (habit.state != "not asked") {
      const std::string bundled = text(" (bundled: ", habit.bundled, ")");
      add_finding({habit.question, habit.answer + (habit.differs ? bundled : "")});
    }
    run_.habits.push_back(std::move(habit));
  }
  if (habits_.longest_wait > 0) {
    add_finding(
        {"Longest wait for acknowledged values", duration_text(habits_.longest_wait * 1e9)});
  }
  if (limits_.rows > 0) add_finding({"Rows that a call writes", text(limits_.rows, " at most")});
  if (limits_.objects > 0) {
    add_finding({"Objects that a call changes", text(limits_.objects, " at most")});
  }
  if (limits_.names > 0) add_finding({"Points that a call reads", text(limits_.names, " at most")});
}

void Supervisor::take_end(FamilyChild &child, const json &record) {
  CheckResult &result = run_.results[child.next];
  result.evidence = record["evidence"];
  result.seconds = record["seconds"];
  result.output = redacted(child.output);
  child.output.clear();
  child.began = 0;
  const std::string reason = record["reason"], kind = record["kind"];
  result.reason = reason;
  if (kind == "refused") run_.refusal = redacted(reason);
  finish(result, verdict_on(child, result, kind), reason);
  ++child.next;
}

Verdict Supervisor::verdict_on(const FamilyChild &child, const CheckResult &result,
                               const std::string &kind) const {
  if ((child.no_session && !run_.connected) || kind == "refused") return Verdict::not_run;
  if (result.evidence.differences > 0) return Verdict::failed;
  if (result.reason.empty()) return Verdict::passed;
  if (kind == "unknown") return Verdict::unknown;
  return kind == "moot" ? Verdict::moot : Verdict::failed;
}

// An answer that several checks came to is shown once.
void Supervisor::add_finding(const std::pair<std::string, std::string> &finding) {
  const auto &all = run_.findings;
  if (std::find(all.begin(), all.end(), finding) == all.end()) run_.findings.push_back(finding);
}

// Whatever the library says, a password is in no report.
std::string Supervisor::redacted(std::string text) const {
  const std::string &secret = run_.options.server.password;
  constexpr size_t shortest = 4;  // a shorter one would be found in every other word
  if (secret.size() < shortest) return text;
  for (size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += 3) {
    text.replace(at, secret.size(), "***");
  }
  return text;
}

}  // namespace kelpcheck
