#include <algorithm>
#include <array>
#include <iostream>

#include "report/reports.h"
#include "report/table.h"
#include "result/clock.h"

namespace kelpcheck {

namespace {

constexpr size_t kVerdictColumns = 9, kNameColumns = 28, kTimeColumns = 9;
const char *const kGreen = "32", *const kRed = "31", *const kYellow = "33";

const char *colour_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::passed:
    case Verdict::moot: return kGreen;
    case Verdict::failed: return kRed;
    default: return kYellow;
  }
}

std::string upper(std::string word) {
  for (char &c : word) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return word;
}

std::string word_of(Verdict verdict) {
  const bool loud = verdict == Verdict::failed || verdict == Verdict::unknown;
  if (verdict == Verdict::moot) return "moot";
  return loud ? upper(name_of(verdict)) : name_of(verdict);
}

const char *unit_of(Unit unit) {
  constexpr std::array<const char *, 3> names = {"points", "rows", "nodes"};
  return names.at(static_cast<size_t>(unit));
}

}  // namespace

TextReport::TextReport(const Run &run, std::ostream &out, int columns,
                       std::map<std::string, double> weights)
    : run_(run),
      out_(out),
      columns_(columns),
      colours_(columns > 0 && colours_wanted()),
      estimate_(std::move(weights)) {}

std::string TextReport::coloured(const char *code, const std::string &word) const {
  return colours_ ? text("\033[", code, "m", word, "\033[0m") : word;
}

// Lines behind an indent, broken where the terminal ends.
void TextReport::paragraph(size_t indent, const std::string &words) {
  const size_t columns = columns_ > 0 ? std::max<size_t>(columns_ - indent, 20) : 0;
  for (const std::string &line : wrapped(printable(words), columns)) {
    out_ << std::string(indent, ' ') << line << '\n';
  }
}

void TextReport::begin() {
  if (run_.options.reports.quiet) return;
  const ServerOptions &server = run_.options.server;
  paragraph(0, text("kelpcheck ", KELPCHECK_VERSION, ": database ", server.database, " of ",
                    server.host, " through ", run_.library.path));
  out_ << '\n' << std::flush;
}

// A narrow terminal has no room for the time behind a long name.
void TextReport::headline(const CheckResult &result) {
  const std::string word = word_of(result.verdict);
  const size_t left = columns_ > 0 ? columns_ - kVerdictColumns - kTimeColumns : kNameColumns;
  const size_t name_columns = std::clamp<size_t>(left, 1, kNameColumns);
  out_ << coloured(colour_of(result.verdict), word)
       << std::string(kVerdictColumns - word.size(), ' ');
  if (result.verdict == Verdict::not_run || result.verdict == Verdict::moot) {
    out_ << result.name << '\n';
    return;
  }
  out_ << padded(result.name, name_columns);
  if (width_of(result.name) <= name_columns) {
    out_ << aligned(duration_text(result.seconds * 1e9), kTimeColumns);
  }
  out_ << '\n';
}

void TextReport::details(const CheckResult &result) {
  paragraph(kVerdictColumns, result.promise);
  for (const std::string &line : result.explanation()) paragraph(kVerdictColumns, line);
  output(result);
}

void TextReport::output(const CheckResult &result) {
  for (const std::string &line : lines_of(result.output)) {
    paragraph(kVerdictColumns, "library: " + line);
  }
}

void TextReport::check_ended(const CheckResult &result) {
  status_.wipe();
  estimate_.ended(result.name, result.seconds);
  const bool opening = &result == run_.results.data();
  const bool quiet = run_.options.reports.quiet;
  const bool good = result.verdict == Verdict::passed || result.verdict == Verdict::moot;
  const bool follows = result.verdict == Verdict::not_run && !opening;
  if ((quiet && good) || !run_.refusal.empty()) return;
  if (follows && (!run_.connected || run_.interrupted != 0)) {
    ++not_begun_;
    return;
  }
  headline(result);
  if (result.verdict == Verdict::failed && quiet) {
    details(result);
  } else if (!result.reason.empty()) {
    paragraph(kVerdictColumns, result.reason);
  }
  if (result.verdict != Verdict::failed) output(result);
  out_ << std::flush;
}

void TextReport::tick(const CheckResult &running, const Progress &progress) {
  if (!status_.possible()) return;
  std::string line = running.name;
  if (progress.total > 0) {
    line += text(", ", progress.done, " of ", progress.total, " ", unit_of(progress.unit));
  }
  const double left = estimate_.left(running.name, progress.seconds);
  if (left > 0) line += text(", about ", duration_text(left * 1e9), " left");
  status_.show(line);
}

void TextReport::figures() {
  const std::vector<std::string> titles = Figure::titles();
  Table table("operation");
  for (const std::string &title : titles) table.add_column(title);
  for (int op = 0; op < kOperations; ++op) {
    const Figure &figure = run_.figures.all[op];
    if (figure.calls > 0) table.add_row(kOperationNames[op], figure.cells());
  }
  // What can be done without, first of all, where there is no room for everything.
  for (const char *title : {"shortest", "failures", "rows", "95 %", "calls", "rows/s", "longest"}) {
    if (columns_ > 0 && table.width() > static_cast<size_t>(columns_)) table.drop_column(title);
  }
  out_ << '\n' << table.text();
}

void TextReport::findings() {
  constexpr size_t question_columns = 44;
  if (run_.findings.empty()) return;
  out_ << "\nThis server\n";
  for (const auto &[question, answer] : run_.findings) {
    const std::string line = text("  ", padded(printable(question), question_columns), " ", answer);
    if (columns_ == 0 || width_of(line) <= static_cast<size_t>(columns_)) {
      out_ << printable(line) << '\n';
      continue;
    }
    paragraph(2, question);
    paragraph(4, answer);
  }
}

void TextReport::unusual() {
  const std::vector<std::string> lines = run_.unusual();
  if (lines.empty()) return;
  out_ << "Unlike the bundled library\n";
  for (const std::string &line : lines) paragraph(2, line);
}

// Once more and in full, where only the verdict comes after them.
void TextReport::failures() {
  for (const Verdict verdict : {Verdict::unknown, Verdict::failed}) {
    for (const CheckResult &result : run_.results) {
      if (result.verdict != verdict) continue;
      out_ << '\n';
      headline(result);
      details(result);
    }
  }
}

void TextReport::end() {
  status_.wipe();
  if (not_begun_ > 0 && run_.connected && !run_.options.reports.quiet) {
    paragraph(0, text(padded("not run", kVerdictColumns), not_begun_, " checks: interrupted"));
  }
  if (!run_.options.reports.quiet && run_.connected && run_.refusal.empty()) {
    figures();
    findings();
    failures();
    out_ << '\n';
  }
  unusual();
  if (const std::string next = run_.next_step(); !next.empty()) {
    paragraph(0, text(padded("next", kVerdictColumns), next));
  }
  const std::string verdict = run_.verdict();
  const std::string line = text(upper(verdict), ": ", run_.summary());
  const std::vector<std::string> lines = wrapped(printable(line), columns_);
  out_ << coloured(verdict == "passed" ? kGreen : kRed, upper(verdict))
       << lines.front().substr(verdict.size()) << '\n';
  for (size_t i = 1; i < lines.size(); ++i) out_ << lines[i] << '\n';
  out_ << std::flush;
}

}  // namespace kelpcheck
