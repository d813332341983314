// A watch that never took place: a store with the rows that it would have written, and its journal,
// with outages of seconds to hours. For verification at size, and for looking at the page of a
// week.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <random>

#include "watch/servant.h"
#include "watch/values.h"

using namespace kelpcheck;
using namespace kelpcheck::watch;

namespace {

constexpr int64_t kRowsPerCall = 100'000;

struct Plan {
  JournalHead head;
  int64_t first, steps;
  std::vector<Outcome> outcomes;
  std::vector<bool> lost;
};

// About eight outages, each as likely to last seconds as an hour.
Plan make_plan(const std::string &host, int64_t points, int64_t steps, bool lossy) {
  Plan plan;
  plan.head.server.host = host;
  plan.head.server.database = "W3";
  plan.head.server.prefix = "KELPWATCH";
  plan.head.server.route = "NULL";
  plan.head.program_version = "invented";
  plan.head.points = points;
  plan.head.seed = 7;
  plan.first = std::time(nullptr) - steps - 1000;
  plan.steps = steps;
  plan.outcomes.assign(static_cast<size_t>(steps), Outcome::acknowledged);
  plan.lost.assign(static_cast<size_t>(steps), false);
  std::mt19937 random(1);
  const double longest = std::log(static_cast<double>(steps) / 50 + 2);
  for (int outage = 0; outage < 8; ++outage) {
    const auto at = static_cast<int64_t>(random() % static_cast<uint64_t>(steps));
    const double size = static_cast<double>(random()) / static_cast<double>(random.max());
    const int64_t length = static_cast<int64_t>(std::exp(size * longest)) + 1;
    for (int64_t step = at; step < std::min(at + length, steps); ++step) {
      plan.outcomes[static_cast<size_t>(step)] = step == at ? Outcome::failed : Outcome::skipped;
    }
    for (int64_t step = std::max<int64_t>(0, at - 3); lossy && outage % 3 == 0 && step < at;
         ++step) {
      plan.lost[static_cast<size_t>(step)] = true;
    }
  }
  return plan;
}

void write_journal(const Plan &plan, const std::string &path) {
  std::ofstream file(path);
  std::mt19937 random(2);
  file << to_json(plan.head) << "\n" << to_json(WatchBegan{plan.first, 0}) << "\n";
  file << to_json(ReaderReads{static_cast<double>(plan.first)}) << "\n";
  file << to_json(HistoryLooked{static_cast<double>(plan.first), true}) << "\n";
  for (int64_t step = 0; step < plan.steps; ++step) {
    const Outcome outcome = plan.outcomes[static_cast<size_t>(step)];
    const auto at = static_cast<double>(plan.first + step);
    if (outcome == Outcome::skipped) {
      file << to_json(StepSkipped{step, false}) << "\n";
      continue;
    }
    const double draw = static_cast<double>(random()) / static_cast<double>(random.max());
    const double took = 0.002 * std::exp(draw * draw * draw * 4);
    const std::string code = outcome == Outcome::failed ? "-2" : "";
    file << to_json(StepBegan{step, at}) << "\n"
         << to_json(StepEnded{step, at, took, outcome, code, {}, ""}) << "\n";
  }
}

void write_rows(const Plan &plan, const ServerOptions &server, CallBoard &board) {
  Context context(server, board);
  const Session session(context);
  const WatchNames names(plan.head.server.database, plan.head.server.prefix, plan.head.points);
  for (int64_t point = 0; point < plan.head.points; ++point) {
    Columns rows;
    const int32_t id = session.ids(Names{names.full_point(point)})[0];
    for (int64_t step = 0; step < plan.steps; ++step) {
      const auto index = static_cast<size_t>(step);
      if (plan.outcomes[index] == Outcome::acknowledged && !plan.lost[index]) {
        const Written written = written_value(plan.head.seed, point, step);
        rows.add({static_cast<int32_t>(plan.first + step), written.status, written.value});
      }
      const bool full = rows.size() == kRowsPerCall || step + 1 == plan.steps;
      if (!full || rows.size() == 0) continue;
      session.write_history(id, rows);
      rows = {};
    }
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: invented_watch HOST POINTS SECONDS JOURNAL [lossy]\n");
    return 2;
  }
  const bool lossy = argc > 5 && std::strcmp(argv[5], "lossy") == 0;
  const Plan plan = make_plan(argv[1], std::atoll(argv[2]), std::atoll(argv[3]), lossy);
  ServerOptions server;
  server.host = plan.head.server.host;
  server.prefix = plan.head.server.prefix;
  server.option = 8;
  static CallBoard board;
  Servant servant(server, plan.head, board);
  for (const auto what : {Request::connect, Request::make, Request::mark}) {
    const Reply reply = servant.answer({what, what == Request::mark ? plan.first : 0, 0, {}, 0, 0});
    if (reply.done) continue;
    std::fprintf(stderr, "cannot make the tree: %s\n", reply.code.c_str());
    return 1;
  }
  write_rows(plan, server, board);
  write_journal(plan, argv[4]);
}
