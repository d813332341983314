#include "watch/watcher.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "command.h"
#include "process/machine.h"
#include "process/waiting.h"
#include "result/text.h"
#include "result/times.h"

namespace kelpcheck::watch {

namespace {

constexpr int kNoConnection = 3;
constexpr double kMargin = 0.1;         // seconds to write the first step into the nodes, at first
constexpr double kFarFuture = 60;       // seconds that a journal may be ahead of this host's clock
constexpr int64_t kTick = 200'000'000;  // nanoseconds between looks when nothing happens

double host_time() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

Watcher::Watcher(const WatchOptions &options, const JournalHead &head, bool going_on,
                 Journal &journal, Story &story, Screen &screen, Signals &signals)
    : options_(options),
      head_(head),
      going_on_(going_on),
      journal_(journal),
      story_(story),
      screen_(screen),
      signals_(signals),
      recorder_(journal, story, [&screen](const Notice &notice) { screen.say(notice); }),
      writing_(options.server, head),
      reading_(options.server, head) {}

// Asks one thing before the watch begins, while there is nothing else to do.
Link::Event Watcher::wait_for(Link &link, const Request &request) {
  bool asked = request.what == Request::connect;
  if (!asked) link.ask(request);
  for (;;) {
    if (const auto event = link.work()) return *event;
    std::vector<int> descriptors = link.descriptors();
    descriptors.push_back(signals_.descriptor());
    wait_until(std::min(link.due(), now_ns() + kTick), descriptors);
    const int signal = signals_.take();
    if (signal != 0) throw CannotWatch(128 + signal, "interrupted before the first step");
  }
}

void Watcher::connect(Link &link) {
  const Link::Event event = wait_for(link, {Request::connect, 0, 0, {}, 0, 0});
  if (!event.reply.done) {
    const std::string why = event.said.empty() ? event.reply.code : event.said;
    throw CannotWatch(kNoConnection, "no connection: " + lines_of(why + "\n")[0]);
  }
  if (base_) return;
  // Both clocks of this host at the moment when the server's was read.
  const int64_t read_at = event.reply.began + (event.reply.ended - event.reply.began) / 2;
  const double then = host_time() - seconds_since(read_at);
  base_ = TimeBase(read_at, then, event.reply.server_time);
}

void Watcher::prepare_tree() {
  const Link::Event seen = wait_for(writing_, {Request::look, 0, 0, {}, 0, 0});
  if (!seen.reply.done)
    throw CannotWatch(kNoConnection, "cannot look for the tree: " + seen.reply.code);
  const std::string prefix = options_.server.prefix;
  const bool half_made = going_on_ && seen.reply.tree == TreeState::ours;
  if (seen.reply.tree != TreeState::missing && !half_made) {
    throw CannotWatch(
        kWrongUsage,
        text("nodes ", prefix,
             "... are there already: `kelpcheck verify FILE --remove` "
             "removes those of a watch whose journal is FILE; or take another --prefix"));
  }
  if (!going_on_ && !recorder_.record(head_)) {
    throw CannotWatch(kWrongUsage, "cannot write " + options_.journal + ": " + journal_.problem());
  }
  screen_.note(
      text("making ", head_.points, " points under ", head_.server.database, ".", prefix, "..."));
  const Link::Event made = wait_for(writing_, {Request::make, 0, 0, {}, 0, 0});
  if (!made.reply.done) {
    throw CannotWatch(kWrongUsage,
                      text("the tree cannot be made: ", made.reply.code, "; `kelpcheck verify ",
                           options_.journal, " --remove` removes what is there of it"));
  }
}

// The first step is the first whole second after both sessions stand and the nodes say so.
void Watcher::begin_grid() {
  prepare_tree();
  reading_.set_first(1);
  connect(reading_);
  grid_.every = head_.every;
  for (double margin = kMargin;; margin *= 2) {
    grid_.first = static_cast<int64_t>(std::ceil(base_->moment(now_ns()) + margin));
    const Link::Event marked = wait_for(writing_, {Request::mark, grid_.first, 0, {}, 0, 0});
    if (!marked.reply.done) {
      throw CannotWatch(kWrongUsage, "the nodes cannot be marked: " + marked.reply.code);
    }
    writing_.set_first(grid_.first);
    const Link::Event seen = wait_for(writing_, {Request::look, 0, 0, {}, 0, 0});
    if (!seen.reply.done || !seen.reply.points.empty()) {
      throw CannotWatch(kWrongUsage, "the tree that was made is not there: " + seen.reply.code);
    }
    if (base_->moment(now_ns()) + kMargin / 2 < static_cast<double>(grid_.first)) break;
  }
  reading_.set_first(grid_.first);
  if (!recorder_.record(WatchBegan{grid_.first, base_->offset()})) {
    throw CannotWatch(kWrongUsage, "cannot write " + options_.journal + ": " + journal_.problem());
  }
}

void Watcher::check_tree_of_journal() {
  const Link::Event seen = wait_for(writing_, {Request::look, 0, 0, {}, 0, 0});
  const bool there = seen.reply.done && seen.reply.tree == TreeState::ours;
  if (there) return;
  throw CannotWatch(kWrongUsage, text("the tree of this journal is not there: is this the right "
                                      "server? `kelpcheck verify ",
                                      options_.journal, "` judges it"));
}

// The grid is the journal's, and so is the time base where this is the host that began it.
void Watcher::go_on() {
  grid_ = {story_.begun()->first, head_.every};
  writing_.set_first(grid_.first);
  reading_.set_first(grid_.first);
  check_tree_of_journal();
  connect(reading_);
  if (head_.machine == machine_name()) {
    base_ = TimeBase::with_offset(now_ns(), host_time(), story_.begun()->offset);
  }
  const double ahead =
      static_cast<double>(grid_.time_of(story_.steps().end())) - base_->moment(now_ns());
  if (ahead > kFarFuture + static_cast<double>(grid_.every)) {
    throw CannotWatch(
        kWrongUsage, text("the journal is ", std::llround(ahead), " s ahead of this host's clock"));
  }
  recorder_.record(Resumed{base_->moment(now_ns())});
}

void Watcher::run() {
  connect(writing_);
  const bool begun = story_.begun().has_value();
  if (begun) {
    go_on();
  } else {
    begin_grid();
  }
  int64_t end = INT64_MAX;
  if (options_.duration) end = (*options_.duration + grid_.every - 1) / grid_.every;
  const int64_t now_step = grid_.next_step(base_->moment(now_ns()));
  const int64_t next = begun ? std::max(story_.steps().end(), now_step) : 0;
  screen_.note(text("watching ", head_.points, " points of ", options_.server.where(), " from ",
                    clock_text(grid_.time_of(std::max<int64_t>(next, 0))), " UTC, every ",
                    grid_.every, " s; times below are UTC"));
  const WatchWriter::Plan plan{grid_, *base_, head_.points, next, end, story_.steps().end() == 0};
  reader_ = std::make_unique<WatchReader>(head_, grid_, *base_, reading_, recorder_);
  writer_ = std::make_unique<WatchWriter>(
      plan, writing_, recorder_,
      [this](int64_t step, double at) { reader_->acknowledged(step, at); });
  watch();
  recorder_.record(WatchEnded{base_->moment(now_ns()), why_ended_});
  screen_.wipe();
}

// Whether it is over; asks the two sides to come to their ends when it is time for that.
bool Watcher::ends() {
  if (!writer_->refusal().empty()) {
    throw CannotWatch(kWrongUsage,
                      text("this server refuses ", head_.points,
                           " values a call (kelp2_write_value: ", writer_->refusal(),
                           "); try --points ", std::max<int64_t>(1, head_.points / 2),
                           ", after `kelpcheck verify ", options_.journal, " --remove`"));
  }
  const bool no_history = !story_.history_kept().value_or(true);
  if (no_history && why_ended_.empty()) why_ended_ = "values do not become history";
  if (asked_to_end_ != 0 && why_ended_.empty()) why_ended_ = text("signal ", asked_to_end_);
  if (!why_ended_.empty()) writer_->stop();
  if (!writer_->finished()) return false;
  if (why_ended_.empty()) why_ended_ = "the time is over";
  return true;
}

void Watcher::watch() {
  bool farewell = false;
  while (!farewell || !reader_->finished()) {
    writer_->work();
    reader_->work();
    if (!farewell && ends()) {
      farewell = true;
      reader_->finish();
      continue;
    }
    std::vector<int> descriptors = writing_.descriptors();
    for (const int descriptor : reading_.descriptors()) descriptors.push_back(descriptor);
    descriptors.push_back(signals_.descriptor());
    wait_until(std::min({writer_->due(), reader_->due(), now_ns() + kTick}), descriptors);
    if (const int signal = signals_.take(); signal != 0) {
      if (asked_to_end_ != 0) {
        interrupted_ = signal;
        return;
      }
      asked_to_end_ = signal;
    }
    live();
  }
}

void Watcher::live() {
  const StepCounts counts = story_.steps().counts();
  std::string words = text(story_.steps().end(), " steps, ", counts.acknowledged, " acknowledged");
  if (const Outage *outage = story_.outage()) {
    words += text(", outage for ", duration_text((base_->moment(now_ns()) - outage->begin) * 1e9));
  }
  words += ", longest call " + duration_text(story_.longest_write() * 1e9);
  screen_.live(words);
}

}  // namespace kelpcheck::watch
