#include "explore/search.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "explore/shrink.h"
#include "process/call_board.h"
#include "process/child.h"
#include "process/shared.h"

namespace kelpcheck::explore {

using nlohmann::json;

namespace {

constexpr int kTickMilliseconds = 20;
constexpr double kTryTimeout = 2;  // seconds of a call, while a sequence is made small

// Sequences that one process plays, one after the other.
constexpr uint64_t kTogether = 8;

// What a sequence made is deleted, and its sessions are opened again.
void add_ending(Sequence &sequence) {
  std::set<std::string> names[kNodes];
  for (const Call &call : sequence) {
    if (call.op != Op::modify_object || call.change != Insert) continue;
    for (const Entry &entry : call.entries) names[entry.who.node].insert(entry.who.name);
  }
  for (int node = 0; node < kNodes; ++node) {
    Call points{Op::modify_object}, whole{Op::modify_object};
    points.change = whole.change = Delete;
    points.node = node;
    whole.node = kDatabase;
    for (const std::string &name : names[node]) {
      Call &call = name.empty() ? whole : points;
      call.entries.push_back({{Target::own, node, name}});
    }
    if (!points.entries.empty()) sequence.push_back(points);
    if (!whole.entries.empty()) sequence.push_back(whole);
  }
  for (const int session : {0, 1}) sequence.push_back({Op::init, session});
}

// How far a child has come.
struct Progress {
  std::atomic<uint64_t> number;  // of the sequence that it plays
  std::atomic<size_t> call;
  std::atomic<int64_t> sequences, calls, compared, longest_wait;
};

json to_json(const Finding &finding) {
  const Difference &d = finding.difference;
  return {{"call", finding.call}, {"entry", d.key.entry},     {"item", d.key.item},
          {"time", d.key.time},   {"expected", d.expected},   {"got", d.got},
          {"within", d.within},   {"remark", finding.remark}, {"waited", finding.waited}};
}

Finding from_json(const json &record) {
  Finding finding;
  Difference &d = finding.difference;
  finding.call = record.at("call");
  d.key = {record.at("entry"), record.at("item"), record.at("time")};
  d.expected = record.at("expected");
  d.got = record.at("got");
  d.within = record.at("within");
  finding.remark = record.at("remark");
  finding.waited = record.at("waited");
  return finding;
}

class Search {
 public:
  Search(const SearchOptions &options, const std::function<void(double)> &progress)
      : o_(options), tell_(progress), start_(now_ns()) {}

  SearchResult work();

 private:
  std::optional<Finding> supervise(const std::function<int(RecordPipe)> &work, double timeout);
  int explore(RecordPipe records) const;
  std::optional<Finding> play(const Sequence &sequence, int64_t settle);
  Sequence with_those_before(const Found &found) const;
  void make_small(Found &found);
  void clear(const Place &place);
  double time_left() const;
  bool enough() const;
  const Place &next_place() { return o_.places[plays_++ % o_.places.size()]; }

  const SearchOptions &o_;
  Shared<CallBoard> board_;
  const std::function<void(double)> &tell_;
  int64_t start_;
  int64_t shrinking_since_ = 0;
  Shared<Progress> progress_;
  size_t plays_ = 0;
  Place played_;  // the last one
};

// Ends the child when a call takes too long; what ends it so, or by itself, is a finding.
std::optional<Finding> Search::supervise(const std::function<int(RecordPipe)> &work,
                                         double timeout) {
  board_->begin();
  std::string line, end;
  Child child(work);
  while (!child.ended()) {
    wait_readable({child.records(), child.output()}, kTickMilliseconds);
    for (const std::string &record : child.take_records()) line = record;
    child.take_output();
    tell_(seconds_since(start_));
    if (!board_->overdue(timeout) || !end.empty()) continue;
    end = board_->overdue_text(timeout);
    child.kill();
  }
  for (const std::string &record : child.take_records()) line = record;
  if (!line.empty()) return from_json(json::parse(line));
  if (end.empty() && child.status() == 0) return {};
  if (end.empty()) end = board_->end_text(child.status());
  return Finding{progress_->call, {{0, kEnd}, {kReturned}, end}};
}

// In a child: a few sequences. A child that ends by itself, as it should, has the status 0.
int Search::explore(RecordPipe records) const {
  while (true) {
    const uint64_t number = progress_->number;
    const Place &place = o_.places[number % o_.places.size()];
    Context context(o_.server, *board_);
    Player player(context, place, o_.ground);
    if (enough()) return 0;
    const auto finding = player.play(make_sequence(o_.material, number), [&](size_t call) {
      if (enough()) return false;
      progress_->call = call;
      ++progress_->calls;
      return true;
    });
    progress_->compared += player.compared();
    progress_->longest_wait = std::max<int64_t>(progress_->longest_wait, player.longest_wait());
    ++progress_->sequences;
    if (finding) {
      records.send(to_json(*finding).dump(-1, ' ', false, json::error_handler_t::replace));
      return 0;
    }
    player.clear();
    if (++progress_->number % kTogether == 0) return 0;
  }
}

bool Search::enough() const {
  return o_.calls > 0 ? progress_->calls >= o_.calls : time_left() <= 0;
}

double Search::time_left() const {
  if (shrinking_since_ > 0) return o_.shrink_seconds - seconds_since(shrinking_since_);
  return o_.seconds - seconds_since(start_);
}

// Plays one sequence on nodes of its own.
std::optional<Finding> Search::play(const Sequence &sequence, int64_t settle) {
  const Place place = next_place();
  Ground ground = o_.ground;
  ground.settle = std::min(ground.settle, settle);
  const auto finding = supervise(
      [&](RecordPipe records) {
        Context context(o_.server, *board_);
        Player player(context, place, ground);
        player.clear();
        const auto found = player.play(sequence, [&](size_t call) {
          progress_->call = call;
          return true;
        });
        if (found) {
          records.send(to_json(*found).dump(-1, ' ', false, json::error_handler_t::replace));
        }
        player.clear();
        return 0;
      },
      std::min(kTryTimeout, o_.server.timeout));
  const bool ended = finding && finding->difference.key.item == kEnd;
  if (ended) clear(place);
  if (finding) played_ = place;
  return finding;
}

// After a child that could not do so.
void Search::clear(const Place &place) {
  supervise(
      [&](RecordPipe) {
        Context context(o_.server, *board_);
        Player(context, place, o_.ground).clear();
        return 0;
      },
      kTryTimeout);
}

// What a difference is about: another one may come out when calls are left out.
bool alike(const Sequence &one, const Finding &a, const Sequence &other, const Finding &b) {
  return one[a.call].op == other[b.call].op && a.difference.key.item == b.difference.key.item;
}

// The sequences that the process had played before, too: something may have been left in it.
Sequence Search::with_those_before(const Found &found) const {
  Sequence all;
  for (uint64_t number = found.number / kTogether * kTogether; number < found.number; ++number) {
    Sequence one = make_sequence(o_.material, number);
    add_ending(one);
    all.insert(all.end(), one.begin(), one.end());
  }
  all.insert(all.end(), found.sequence.begin(), found.sequence.end());
  return all;
}

void Search::make_small(Found &found) {
  shrinking_since_ = now_ns();
  // Longer than this server has taken so far; the whole time only at the end.
  const auto seen = static_cast<int64_t>(
      std::max(o_.longest_wait * 1e9, static_cast<double>(progress_->longest_wait.load())));
  const int64_t brief = std::max<int64_t>(40'000'000, 3 * seen);
  const Sequence original = found.sequence;
  const Finding first = found.finding;
  const auto fails = [&](const Sequence &candidate) {
    if (candidate.empty()) return false;
    const auto finding = play(candidate, brief);
    if (!finding || finding->call >= candidate.size()) return false;
    if (!alike(original, first, candidate, *finding)) return false;
    found.sequence.assign(candidate.begin(), candidate.begin() + finding->call + 1);
    found.finding = *finding;
    found.place = played_;
    found.again = true;
    return true;
  };
  const auto too_late = [&] { return time_left() <= 0; };
  if (!fails(original) && !fails(original) && !fails(with_those_before(found))) return;
  shrink(found.sequence, o_.material.base, fails, too_late);
  if (!found.finding.waited || brief >= o_.ground.settle) return;
  const Found small = found;
  const auto whole_wait = static_cast<int64_t>(std::max(time_left(), 0.5) * 1e9);
  const auto finding = play(small.sequence, whole_wait);
  if (finding && alike(original, first, small.sequence, *finding)) return;
  found.sequence = original;
  found.finding = first;
  found.again = false;
}

SearchResult Search::work() {
  SearchResult result;
  std::optional<Finding> finding;
  while (!finding && !enough()) {
    finding = supervise([&](RecordPipe records) { return explore(records); }, o_.server.timeout);
  }
  result.sequences = progress_->sequences;
  result.calls = progress_->calls;
  result.compared = progress_->compared;
  result.longest_wait = static_cast<double>(progress_->longest_wait) / 1e9;
  if (!finding) return result;
  const uint64_t number = progress_->number;
  Found found{number, 0, make_sequence(o_.material, number), o_.places[number % o_.places.size()],
              *finding};
  found.calls = found.sequence.size();
  found.sequence.resize(std::min(found.sequence.size(), found.finding.call + 1));
  plays_ = number + 1;
  make_small(found);
  clear(o_.places[number % o_.places.size()]);
  result.found = found;
  return result;
}

}  // namespace

SearchResult search(const SearchOptions &options, const std::function<void(double)> &progress) {
  return Search(options, progress).work();
}

}  // namespace kelpcheck::explore
