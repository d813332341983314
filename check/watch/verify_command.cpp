// kelpcheck verify: judges a journal while its watch runs or long afterwards, here or on another
// host.
#include <CLI/CLI.hpp>
#include <charconv>
#include <iostream>

#include "command_line.h"
#include "result/text.h"
#include "result/times.h"
#include "watch/journal.h"
#include "watch/verify.h"

namespace kelpcheck::watch {

namespace {

class VerifyCommand : public Command {
 public:
  VerifyCommand() { o_.server.prefix = "KELPWATCH"; }
  std::string name() const override { return "verify"; }
  std::string summary() const override {
    return "Reads back what a watch wrote, and says what is lost.";
  }
  void add_options(CLI::App &app) override;
  int run() override;

 private:
  std::unique_ptr<Journal> read(JournalRead &read);

  VerifyOptions o_;
  GivenOptions given_;
  std::string until_, share_;
  double settle_ = 5;
};

double parse_share(const std::string &words) {
  const std::string complaint = text("\"", words, "\" is not a percentage such as 10%");
  double share = 0;
  const char *const end = words.data() + words.size();
  const auto [rest, error] = std::from_chars(words.data(), end, share);
  const std::string unit(rest, end);
  if (error != std::errc() || (unit != "%" && !unit.empty()))
    throw std::invalid_argument(complaint);
  if (unit == "%") share /= 100;
  if (!(share > 0 && share <= 1)) throw std::invalid_argument(complaint);
  return share;
}

void VerifyCommand::add_options(CLI::App &app) {
  app.footer(
      "Exit status: 0 nothing lost, 1 something lost, changed, foreign or stale, 2 wrong usage\n"
      "or a journal that cannot be used, 3 no connection, 4 nobody can know, 128 + signal\n"
      "interrupted. The server comes from the journal unless an option names another one; the\n"
      "password is never in it.");
  app.add_option("journal", o_.journal, "The journal of a watch")->required();
  add_server_options(app, o_.server);
  const char *group = "Verification";
  app.add_option("--until", until_,
                 "Judge nothing later than this TIME: YYYYMMDDhhmmss or ISO "
                 "8601, UTC")
      ->check([](const std::string &text) { return complaint_of([&] { parse_date(text); }); })
      ->group(group);
  app.add_option("--share", share_, "Read only this part of the points, such as 10%")
      ->check([](const std::string &text) { return complaint_of([&] { parse_share(text); }); })
      ->group(group);
  app.add_flag("--remove", o_.remove, "Remove the watch's tree after the verdict")->group(group);
  app.add_option("--settle", settle_,
                 "Seconds that a server has until acknowledged values can be read")
      ->check(CLI::Range(0.1, 3600.0))
      ->group(group);
  add_report_options(app, o_.reports);
  note_given(app, given_);
}

// The lock goes with the journal: while it is held nobody goes on with the watch.
std::unique_ptr<Journal> VerifyCommand::read(JournalRead &read) {
  auto journal = std::make_unique<Journal>(o_.journal, Journal::Use::read, 0);
  read.running = journal->in_use();
  if (read.running && o_.remove) {
    throw JournalProblem("the watch goes on, and its tree stays: end it before --remove");
  }
  const JournalContents contents = journal->read(
      [](const JournalHead &) {}, [&](const JournalLine &line) { read.story.take(line); },
      [&] { read.story.take_broken(); });
  if (!contents.has_head) throw JournalProblem(o_.journal + " is empty");
  read.head = contents.head;
  read.broken_lines = contents.broken_lines;
  return journal;
}

int VerifyCommand::run() {
  if (!until_.empty()) o_.until = parse_date(until_);
  if (!share_.empty()) o_.share = parse_share(share_);
  if (given_.contains("--settle")) o_.settle = settle_;
  require_writable(o_.reports);
  JournalRead journal;
  auto lock = read(journal);
  if (!o_.remove) lock.reset();
  adopt_server(given_, journal.head.server, o_.server);
  std::ostream &out = o_.reports.on_stdout() ? std::cerr : std::cout;
  Screen screen(out, o_.reports.quiet);
  Signals signals;
  const WatchReport report = verify_journal("verify", o_, journal, screen, signals);
  if (report.no_connection) complain(report.reasons.front());
  return deliver(report, o_.reports, screen);
}

}  // namespace

}  // namespace kelpcheck::watch

std::unique_ptr<kelpcheck::Command> kelpcheck::verify_command() {
  return std::make_unique<watch::VerifyCommand>();
}
