#include <cctype>
#include <iomanip>
#include <iostream>

#include "report/compare_reports.h"
#include "result/text.h"

namespace kelpcheck {

namespace {

constexpr int kVerdict = 15, kName = 30;

// Lines that say what a reader expects are only counted.
bool is_dull(const ComparisonLine &line, bool quiet) {
  const bool no_difference = line.change == Change::same || line.change == Change::unknown;
  return no_difference && (quiet || (line.change == Change::same && line.ratio == 0));
}

void section_text(const ComparisonSection &section, std::ostream &out, bool quiet) {
  size_t dull = 0;
  bool titled = false;
  for (const ComparisonLine &line : section.lines) {
    if (is_dull(line, quiet)) {
      ++dull;
      continue;
    }
    if (!titled) out << "\n" << section.title << "\n";
    titled = true;
    out << "  " << std::left << std::setw(kVerdict) << name_of(line.change) << std::setw(kName)
        << printable(line.name) << " " << printable(line.words) << "\n";
  }
  if (dull > 0 && !quiet) out << (titled ? "  " : section.title + ": ") << dull << " the same\n";
}

}  // namespace

void comparison_text(const Comparison &comparison, std::ostream &out, bool quiet) {
  if (!quiet) {
    for (const auto &[name, value] : comparison.facts) {
      out << std::left << std::setw(kVerdict) << name << printable(value) << "\n";
    }
    for (const std::string &note : comparison.notes) out << "Note: " << printable(note) << "\n";
    out << "\n";
  }
  for (const ComparisonSection &section : comparison.sections) section_text(section, out, quiet);
  std::string verdict = comparison.verdict();
  for (char &c : verdict) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  out << (quiet ? "" : "\n") << verdict << ": " << comparison.summary() << "\n" << std::flush;
}

}  // namespace kelpcheck
