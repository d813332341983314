#include <unistd.h>

#include <cstdlib>
#include <iomanip>
#include <iostream>

#include "report/reports.h"
#include "result/clock.h"

namespace kelpcheck {

namespace {

const char *const kIndent = "         ";
const char *const kGreen = "32", *const kRed = "31", *const kYellow = "33";

bool colours_wanted() {
  const char *no_colour = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  return (no_colour == nullptr || *no_colour == '\0') &&
         (terminal == nullptr || std::string(terminal) != "dumb");
}

const char *colour_of(Verdict verdict) {
  const bool good = verdict == Verdict::passed || verdict == Verdict::moot;
  return good ? kGreen : verdict == Verdict::failed ? kRed : kYellow;
}

std::string upper(std::string word) {
  for (char &c : word) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return word;
}

}  // namespace

TextReport::TextReport(const Run &run, std::ostream &out, bool is_terminal)
    : run_(run),
      out_(out),
      colours_(is_terminal && colours_wanted()),
      progress_(isatty(STDERR_FILENO) == 1) {}

std::string TextReport::coloured(const char *code, const std::string &word) const {
  return colours_ ? text("\033[", code, "m", word, "\033[0m") : word;
}

void TextReport::begin(const std::map<std::string, int> &weights) {
  weights_ = weights;
  for (const auto &[name, weight] : weights_) weight_all_ += weight;
  start_ = now_ns();
  if (run_.options.reports.quiet) return;
  out_ << printable(text("kelpcheck ", KELPCHECK_VERSION, ": database ",
                         run_.options.server.database, " of ", run_.options.server.host,
                         " through ", run_.library))
       << "\n\n"
       << std::flush;
}

void TextReport::check_ended(const CheckResult &result) {
  wipe();
  weight_done_ += weights_[result.name];
  if (run_.options.reports.quiet && result.verdict == Verdict::passed) return;
  if (!run_.connected && result.reason == kNoSession) return;
  const std::string verdict = name_of(result.verdict);
  out_ << coloured(colour_of(result.verdict),
                   result.verdict == Verdict::failed ? upper(verdict) : verdict)
       << std::string(9 - verdict.size(), ' ') << std::left << std::setw(28) << result.name;
  const bool ran = result.verdict == Verdict::passed || result.verdict == Verdict::failed;
  if (!ran) {
    out_ << printable(result.reason) << "\n" << std::flush;
    return;
  }
  out_ << std::right << std::setw(9) << duration_text(result.seconds * 1e9) << "\n";
  if (result.verdict == Verdict::failed) {
    out_ << kIndent << result.promise << "\n";
    for (const std::string &line : result.explanation()) out_ << kIndent << printable(line) << "\n";
  }
  for (const std::string &line : lines_of(result.output)) {
    out_ << kIndent << "library: " << printable(line) << "\n";
  }
  out_ << std::flush;
}

void TextReport::tick(const CheckResult &running, int64_t done, int64_t total) {
  if (!progress_) return;
  const double part = total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 0;
  const double share = (weight_done_ + part * weights_[running.name]) / weight_all_;
  const auto elapsed = static_cast<double>(now_ns() - start_);
  std::cerr << "\r\033[K" << running.name;
  if (total > 0) std::cerr << ", " << done << " of " << total << " points";
  if (share > 0.05) std::cerr << ", about " << duration_text(elapsed / share - elapsed) << " left";
  std::cerr << std::flush;
  shown_ = true;
}

void TextReport::wipe() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
  shown_ = false;
}

void TextReport::figures() {
  const auto cell = [&](const std::string &word) { out_ << std::right << std::setw(10) << word; };
  out_ << '\n' << std::left << std::setw(27) << "operation";
  for (const char *title :
       {"calls", "rows", "failures", "rows/s", "shortest", "median", "95 %", "longest"}) {
    cell(title);
  }
  out_ << '\n';
  for (int op = 0; op < kOperations; ++op) {
    const Figure &f = run_.figures.all[op];
    if (f.calls == 0) continue;
    out_ << std::left << std::setw(27) << kOperationNames[op];
    for (const std::string &word : f.cells()) cell(word);
    out_ << '\n';
  }
}

void TextReport::end() {
  wipe();
  if (!run_.options.reports.quiet) {
    figures();
    if (!run_.findings.empty()) out_ << "\nThis server\n";
    for (const auto &[question, answer] : run_.findings) {
      out_ << "  " << std::left << std::setw(44) << printable(question) << " " << printable(answer)
           << '\n';
    }
    out_ << '\n';
  }
  const std::vector<std::string> unusual = run_.unusual();
  if (!unusual.empty()) out_ << "Unlike the bundled library\n";
  for (const std::string &line : unusual) out_ << "  " << printable(line) << '\n';
  const std::string verdict = run_.verdict();
  out_ << coloured(verdict == "passed" ? kGreen : kRed, upper(verdict)) << ": " << run_.summary()
       << '\n'
       << std::flush;
}

}  // namespace kelpcheck
