// The sequences as a family of checks: what they may do on this server, and what came of them as
// evidence.
#include <fstream>

#include "checks/families.h"
#include "explore/program.h"
#include "explore/search.h"
#include "probe/bed.h"

namespace kelpcheck {

namespace {

using namespace explore;

SearchOptions search_options(const Bed &bed) {
  const CheckOptions &o = bed.c.options;
  SearchOptions options;
  options.server = o.server;
  options.material.seed = o.seed;
  const Habits &habits = bed.c.habits;
  options.material.base = o.begin;
  for (const Question names : {Question::names_64, Question::names_marks, Question::names_blank,
                               Question::names_foreign}) {
    if (!habits.unknown(names).empty()) options.material.odd_names = false;
  }
  options.ground.base = o.begin;
  const bool bundled = o.expect == "bundled";
  options.ground.ways = bundled ? Ways::of_bundled() : Ways::of(habits);
  // What the bundled library has acknowledged is read back at once.
  options.ground.settle = bundled ? 0 : static_cast<int64_t>(o.settle * 1e9);
  options.longest_wait = habits.longest_wait;
  options.seconds = o.explore;
  options.calls = o.explore_calls;
  for (size_t i = 0; i + 1 < bed.nodes.size(); i += 2) {
    options.places.push_back({o.server.database, {bed.nodes[i], bed.nodes[i + 1]}});
  }
  return options;
}

std::string place_of(const Found &found) {
  const Key &key = found.finding.difference.key;
  const Call &last = found.sequence.back();
  std::string where = text(kelpcheck::name_of(last.op), ": ", show_key(key));
  if (key.entry > 0 && key.entry <= last.entries.size()) {
    const Target &who = rows_of_one(last.op) ? last.who : last.entries[key.entry - 1].who;
    where += text(" (", full_name(found.place, who), ")");
  }
  if (key.item == kRow) where += text(", which is ", clock_text(key.time));
  return where;
}

std::string history_of(const CheckOptions &o, const Found &found) {
  std::string line =
      text("seed ", o.seed, ", sequence ", found.number, " of ", found.calls, " calls");
  if (!found.again) return line + "; seen once, not again";
  return line + text(", made small: ", found.sequence.size());
}

void keep_evidence(Bed &bed, const Found &found) {
  const Difference &difference = found.finding.difference;
  Evidence &e = bed.c.evidence;
  ++e.differences;
  e.keep(place_of(found), expected_text(difference), difference.got);
  e.steps.push_back(history_of(bed.c.options, found));
  for (const Call &call : found.sequence) e.steps.push_back(line_of(call, found.place));
  if (!found.finding.remark.empty()) e.steps.push_back(found.finding.remark);
}

void write_program(const Bed &bed, const SearchOptions &options, const Found &found) {
  const CheckOptions &o = bed.c.options;
  if (o.reproduce.empty()) return;
  const ProgramNotes notes{o.server, static_cast<double>(options.ground.settle) / 1e9,
                           text("kelpcheck " KELPCHECK_VERSION ", ", history_of(o, found))};
  std::ofstream file(o.reproduce);
  file << c_program(found.sequence, found.place, found.finding, notes) << std::flush;
  if (!file) throw std::runtime_error("cannot write " + o.reproduce);
}

void sequences(Bed &bed) {
  const SearchOptions options = search_options(bed);
  bed.session.reset();  // processes are forked from here
  const SearchResult result = search(options, [&](double seconds) {
    bed.c.progress(static_cast<int64_t>(seconds * 1000),
                   static_cast<int64_t>(options.seconds * 1000));
  });
  bed.c.evidence.compared += result.compared;
  bed.c.finding("Sequences", text(result.calls, " calls in ", result.sequences,
                                  " sequences, from seed ", bed.c.options.seed));
  if (!result.found) return;
  keep_evidence(bed, *result.found);
  write_program(bed, options, *result.found);
}

}  // namespace

Family explore_family() {
  return {"explore",
          Tree::reserved,
          {{"explore.sequences",
            "In whatever order calls come, each one gives what the calls before it led to.",
            sequences, 5}}};
}

}  // namespace kelpcheck
