// kelpcheck watch: writes every second until somebody ends it, then judges what it wrote.
#include <CLI/CLI.hpp>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <random>

#include "command_line.h"
#include "process/machine.h"
#include "result/text.h"
#include "result/times.h"
#include "watch/journal.h"
#include "watch/values.h"
#include "watch/verify.h"
#include "watch/watcher.h"

namespace kelpcheck::watch {

namespace {

constexpr double kPatience = 3;  // seconds for an earlier watch's writer to die

class WatchCommand : public Command {
 public:
  WatchCommand() { o_.server.prefix = "KELPWATCH"; }
  std::string name() const override { return "watch"; }
  std::string summary() const override {
    return "Writes a value to every point at every step, through outages, and says what is lost.";
  }
  void add_options(CLI::App &app) override;
  int run() override;

 private:
  JournalHead new_head() const;
  void agree_with(const JournalHead &head);
  bool open(Journal &journal, JournalRead &read);

  WatchOptions o_;
  GivenOptions given_;
  std::string duration_;
};

void WatchCommand::add_options(CLI::App &app) {
  app.footer(
      "Exit status: 0 nothing lost, 1 something lost, changed, foreign or stale, 2 wrong usage\n"
      "or a journal or tree that cannot be used, 3 no connection, 4 nobody can know, 128 +\n"
      "signal interrupted a second time.");
  add_server_options(app, o_.server);
  const char *group = "Watch";
  app.add_option("--journal", o_.journal,
                 "File that records what was acknowledged; if it exists, "
                 "the watch goes on with it")
      ->required()
      ->group(group);
  app.add_option("--points", o_.points, "Points")->check(CLI::Range(1, 100'000))->group(group);
  app.add_option("--every", o_.every, "Whole seconds between steps")
      ->check(CLI::Range(1, 86'400))
      ->group(group);
  app.add_option("--for", duration_,
                 "How long: a number with ms, s, m, h or d; default: until "
                 "interrupted")
      ->check([](const std::string &text) { return complaint_of([&] { parse_duration(text); }); })
      ->group(group);
  app.add_option("--settle", o_.settle,
                 "Seconds that a server has until acknowledged values can be read")
      ->check(CLI::Range(0.1, 3600.0))
      ->group(group);
  add_report_options(app, o_.reports);
  note_given(app, given_);
}

JournalHead WatchCommand::new_head() const {
  JournalHead head;
  head.server = o_.server;
  std::string &host = head.server.host;
  const std::string file = "file:";
  if (host.starts_with(file)) {
    host = file + std::filesystem::absolute(host.substr(file.size())).string();
  }
  head.machine = machine_name();
  head.program_version = KELPCHECK_VERSION;
  head.points = o_.points;
  head.every = o_.every;
  head.settle = o_.settle;
  std::random_device random;
  const uint64_t high = random(), low = random();
  head.seed = (high << 32 | low) % kSeeds;
  return head;
}

// A watch goes on as its journal says.
void WatchCommand::agree_with(const JournalHead &head) {
  const auto require = [&](const char *option, bool agrees, const std::string &its) {
    if (!given_.contains(option) || agrees) return;
    throw JournalProblem(text(option, " does not agree with the journal, which has ", its));
  };
  ServerOptions &server = o_.server;
  require("--points", o_.points == head.points, std::to_string(head.points));
  require("--every", o_.every == head.every, std::to_string(head.every));
  require("--prefix", server.prefix == head.server.prefix, head.server.prefix);
  require("--database", server.database == head.server.database, head.server.database);
  o_.points = head.points;
  o_.every = head.every;
  adopt_server(given_, head.server, server);
  if (!given_.contains("--settle")) o_.settle = head.settle;
}

// Whether there is something to go on with.
bool WatchCommand::open(Journal &journal, JournalRead &read) {
  const JournalContents contents = journal.read(
      [](const JournalHead &) {}, [&](const JournalLine &line) { read.story.take(line); }, [] {});
  if (contents.broken_lines > 0) {
    throw JournalProblem(text(o_.journal, " is damaged in line ", contents.first_broken,
                              "; `kelpcheck verify` judges what is there"));
  }
  journal.cut(contents.sound_bytes);
  read.head = contents.has_head ? contents.head : new_head();
  if (contents.has_head) agree_with(contents.head);
  return contents.has_head;
}

int WatchCommand::run() {
  if (!duration_.empty()) o_.duration = static_cast<int64_t>(std::ceil(parse_duration(duration_)));
  require_writable(o_.reports);
  std::ostream &out = o_.reports.on_stdout() ? std::cerr : std::cout;
  Screen screen(out, o_.reports.quiet);
  Signals signals;
  JournalRead read;
  read.story = Story([&](const Notice &notice) { screen.say(notice); });
  try {
    Journal journal(o_.journal, Journal::Use::write, kPatience);
    read.story.mute(true);
    const bool going_on = open(journal, read);
    read.story.mute(false);
    VerifyOptions verify;
    {
      Watcher watcher(o_, read.head, going_on, journal, read.story, screen, signals);
      watcher.run();
      verify.interrupted = watcher.interrupted();
    }  // both children have ended: what lived only in their sessions must not count
    if (verify.interrupted == 0) screen.note("reading everything back...");
    verify.server = o_.server;
    verify.journal = o_.journal;
    verify.settle = o_.settle;
    if (journal.pending()) screen.note("the journal misses its last lines: " + journal.problem());
    return deliver(verify_journal("watch", verify, read, screen, signals), o_.reports, screen);
  } catch (const CannotWatch &problem) {
    complain(problem.what());
    return problem.status;
  }
}

}  // namespace

}  // namespace kelpcheck::watch

std::unique_ptr<kelpcheck::Command> kelpcheck::watch_command() {
  return std::make_unique<watch::WatchCommand>();
}
