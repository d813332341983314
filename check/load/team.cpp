#include "load/team.h"

#include <algorithm>

#include "load/hand.h"
#include "process/waiting.h"
#include "result/clock.h"

namespace kelpcheck {

namespace {

constexpr int64_t kTick = 100'000'000;
constexpr int kMostEnds = 3;
constexpr size_t kMostSaid = 2'000;

}  // namespace

Team::Team(const LoadOptions &options, Signals &signals) : options_(options), signals_(signals) {
  control_->cut = INT64_MAX;
  for (int32_t i = 0; i < options.sessions; ++i) {
    members_.push_back(std::make_unique<Member>());
    start(members_.size() - 1);
  }
}

void Team::start(size_t i) {
  Member &member = *members_[i];
  const auto number = static_cast<int32_t>(i);
  if (member.worker) ended_.merge(member.worker->board().figures);
  member.worker = std::make_unique<Worker>([&, number](CallBoard &calls) -> Worker::Serve {
    const auto hand = std::make_shared<Hand>(options_, number, *member.board, *control_, calls);
    return [hand](const std::string &request) { return hand->serve(request); };
  });
}

std::vector<std::string> Team::ask(const std::string &request, const std::function<void()> &tick) {
  for (size_t i = 0; i < size(); ++i) {
    Member &member = *members_[i];
    if (member.worker->gone()) start(i);
    member.text.clear();
    member.ends = 0;
    member.done_before = 0;
    member.waited_for = true;
    member.worker->ask(request);
  }
  const auto waited_for = [](const auto &member) { return member->waited_for; };
  for (int64_t next = now_ns() + kTick;
       std::any_of(members_.begin(), members_.end(), waited_for);) {
    std::vector<int> descriptors{signals_.descriptor()};
    for (const auto &member : members_) {
      if (!member->waited_for) continue;
      const std::vector<int> some = member->worker->descriptors();
      descriptors.insert(descriptors.end(), some.begin(), some.end());
    }
    wait_until(next, descriptors);
    take_signal();
    for (size_t i = 0; i < size(); ++i) {
      if (members_[i]->waited_for) take(i, request);
    }
    if (now_ns() < next) continue;
    next = now_ns() + kTick;
    tick();
  }
  std::vector<std::string> texts;
  for (const auto &member : members_) texts.push_back(member->text);
  return texts;
}

void Team::take(size_t i, const std::string &request) {
  Member &member = *members_[i];
  const auto answer = member.worker->take(options_.server.timeout);
  if (!answer) return;
  if (said_.size() < kMostSaid) said_ += answer->said;
  if (!answer->end.empty() && goes_on(member, request)) {
    start(i);
    member.worker->ask(request);
    return;
  }
  member.waited_for = false;
  member.text = answer->end.empty() ? answer->text : answer->end;
}

// The call in which the process ended has failed; the next process goes on behind it.
bool Team::goes_on(Member &member, const std::string &request) const {
  if (request != "stage" || control_->stop) return false;
  StageBoard &stage = member.board->stage;
  if (stage.done > member.done_before) member.ends = 0;
  if (++member.ends > kMostEnds) return false;
  ++stage.calls;
  ++stage.failures;
  ++stage.done;
  member.done_before = stage.done;
  const int64_t write = member.board->writes - 1;
  const bool noted = write < stage.first_write || stage.failed_writes >= kFailedWritesKept;
  if (!noted) stage.failed_write[stage.failed_writes] = write;
  if (!noted) ++stage.failed_writes;
  stage.order.first = stage.next + 1;
  return true;
}

int Team::take_signal() {
  const int signal = signals_.take();
  if (signal == 0) return signals_taken_;
  if (++signals_taken_ > 1) {
    for (const auto &member : members_) member->worker->kill();
  }
  interrupted_ = signal;
  control_->end_at(now_ns());
  control_->stop = true;
  return signals_taken_;
}

std::string Team::first_problem(const std::vector<std::string> &answers) {
  const auto text = std::find_if(answers.begin(), answers.end(),
                                 [](const std::string &answer) { return !answer.empty(); });
  return text == answers.end() ? "" : *text;
}

Figures Team::figures() const {
  Figures all = ended_;
  for (const auto &member : members_) all.merge(member->worker->board().figures);
  return all;
}

}  // namespace kelpcheck
