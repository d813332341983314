#include <iostream>

#include "report/watch_reports.h"
#include "report/watch_words.h"
#include "result/text.h"

namespace kelpcheck::watch {

namespace {

constexpr size_t kMostLines = 20;  // of one kind

// Lines of one kind, as many as one can read.
template <typename List, typename Words>
void print_list(std::ostream &out, const List &list, const Words &words) {
  size_t shown = 0;
  for (const auto &item : list) {
    if (shown++ == kMostLines) {
      out << "  ... and " << list.size() - kMostLines << " more\n";
      return;
    }
    out << "  " << printable(words(item)) << "\n";
  }
}

const char *colour_of(WatchVerdict verdict) {
  switch (verdict) {
    case WatchVerdict::passed: return "32";
    case WatchVerdict::failed: return "31";
    default: return "33";
  }
}

std::string in_colour(WatchVerdict verdict, bool colours) {
  std::string word = name_of(verdict);
  for (char &letter : word) letter = static_cast<char>(letter - 'a' + 'A');
  if (!colours) return word;
  return text("\033[", colour_of(verdict), "m", word, "\033[0m");
}

void print_numbers(const WatchReport &report, const WatchWords &words, std::ostream &out) {
  out << "\nSteps    " << words.steps() << "\n"
      << "Values   " << words.samples() << "\n"
      << "Seen during the watch: " << words.reader() << "\n";
  if (!report.outages.empty()) out << "Outages (UTC)\n";
  print_list(out, report.outages, [&](const Outage &outage) {
    return words.clock(outage.begin) + "  " + words.outage(outage);
  });
  if (!report.stalls.empty()) out << "Stalls (UTC)\n";
  print_list(out, report.stalls, [&](const Stall &stall) {
    return words.clock(stall.begin) + "  " + words.stall(stall);
  });
  if (!report.reader_outages.empty()) out << "Outages of the reader (UTC)\n";
  print_list(out, report.reader_outages, [&](const Outage &outage) {
    return words.clock(outage.begin) + "  " + span_text(outage.seconds);
  });
}

}  // namespace

void print_watch(const WatchReport &report, std::ostream &out, bool colours, bool quiet) {
  const WatchWords words(report);
  if (!quiet) print_numbers(report, words, out);
  for (const std::string &remark : report.remarks) out << "note: " << printable(remark) << "\n";
  print_list(out, report.losses,
             [&](const Patch &patch) { return "lost: " + words.damage(patch); });
  print_list(out, report.changes,
             [&](const Patch &patch) { return "changed: " + words.damage(patch); });
  if (report.verdict == WatchVerdict::failed) {
    print_list(out, report.oddities, [&](const Oddity &odd) { return words.oddity(odd); });
    print_list(out, report.reader.examples,
               [&](const Oddity &odd) { return "during the watch: " + words.oddity(odd); });
  }
  for (size_t i = 1; i < report.reasons.size(); ++i) {
    out << "also: " << printable(report.reasons[i]) << "\n";
  }
  out << in_colour(report.verdict, colours) << ": " << printable(words.summary()) << "\n"
      << std::flush;
}

}  // namespace kelpcheck::watch
