#include <cmath>
#include <iomanip>
#include <iostream>

#include "report/load_reports.h"
#include "report/load_words.h"
#include "result/text.h"

namespace kelpcheck {

namespace {

constexpr int kFirst = 18, kCell = 11;

}  // namespace

std::string seconds_text(double seconds) { return duration_text(seconds * 1e9); }

std::vector<std::string> stage_cells(const LoadStage &stage) {
  std::string verdict = stage.kept_up ? "kept up" : stage.reason;
  if (stage.limited_by == LimitedBy::client) verdict += " (the limit of this program itself)";
  return {stage.purpose,
          rate_text(stage.offered),
          rate_text(stage.achieved),
          std::to_string(stage.calls),
          std::to_string(stage.failures),
          seconds_text(stage.latency.median),
          seconds_text(stage.latency.p95),
          seconds_text(stage.latency.p99),
          seconds_text(stage.latency.p999),
          seconds_text(stage.latency.longest),
          seconds_text(stage.service.median),
          verdict};
}

LoadText::LoadText(const LoadReport &report, std::ostream &out, bool quiet)
    : report_(report), out_(out), quiet_(quiet) {}

void LoadText::row(const std::vector<std::string> &cells) {
  out_ << std::left << std::setw(kFirst) << cells[0];
  for (size_t i = 1; i < cells.size(); ++i) {
    const bool words = i == kStageTitles.size() - 1;
    if (words) out_ << "  " << printable(cells[i]);
    if (!words) out_ << std::right << std::setw(kCell) << cells[i];
  }
  out_ << "\n" << std::flush;
}

void LoadText::begin(const std::string &host, double rate) {
  searches_ = rate <= 0;
  if (quiet_) return;
  const std::string how = searches_ ? "searching for the limit" : rate_text(rate) + " values/s";
  out_ << printable(text("kelpcheck ", KELPCHECK_VERSION, " load: ", how, " of ", report_.work,
                         ", ", report_.sessions, report_.sessions == 1 ? " session" : " sessions",
                         ", on ", host, " through ", report_.library.path))
       << "\n\n"
       << std::flush;
}

void LoadText::phase(const std::string &doing) { status_.show(doing); }

void LoadText::second(const LoadSecond &second, int64_t number) {
  const std::vector<std::string> cells{std::to_string(number),     rate_text(second.offered),
                                       rate_text(second.achieved), std::to_string(second.failures),
                                       seconds_text(second.p99),   std::to_string(second.backlog)};
  if (searches_) {
    phase(text("second ", cells[0], ": ", cells[2], " of ", cells[1], " values/s, 99 % within ",
               cells[4], ", backlog ", cells[5]));
    return;
  }
  status_.wipe();
  if (quiet_) return;
  if (number == 1) row({"second", "offered/s", "achieved/s", "failures", "99 %", "backlog"});
  row(cells);
}

void LoadText::stage_titles() {
  if (titles_) return;
  titles_ = true;
  if (!searches_) out_ << "\n";
  row({kStageTitles.begin(), kStageTitles.end()});
}

void LoadText::stage(const LoadStage &stage) {
  status_.wipe();
  if (quiet_) return;
  stage_titles();
  row(stage_cells(stage));
}

void LoadText::end() {
  status_.wipe();
  if (!quiet_) {
    out_ << "\n";
    if (report_.burst > 0) {
      out_ << "One call after another: " << rate_text(report_.burst) << " values/s\n";
    }
    if (report_.rows_written > 0)
      out_ << "Rows written: " << with_thousands(report_.rows_written) << "\n";
    out_ << "Read back: " << read_back_words(report_) << "\n";
    for (const std::string &remark : report_.remarks) out_ << "Note: " << printable(remark) << "\n";
    out_ << "\n";
  }
  std::string verdict = report_.verdict();
  for (char &c : verdict) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  out_ << verdict << ": " << printable(report_.summary()) << "\n" << std::flush;
}

std::string read_back_words(const LoadReport &report) {
  if (!report.read_back) return report.read_how.empty() ? "nothing" : report.read_how;
  if (report.evidence.compared == 0) return "nothing, as no row is known to be there";
  return text(with_thousands(report.evidence.compared), " rows from ", report.read_how, ", ",
              report.evidence.differences == 0
                  ? "all as written"
                  : with_thousands(report.evidence.differences) + " not as written");
}

}  // namespace kelpcheck
