// kelpcheck compare: says whether a server got worse between two reports.
#include <CLI/CLI.hpp>
#include <cmath>
#include <iostream>

#include "command.h"
#include "compare/compare.h"
#include "report/compare_reports.h"
#include "report/files.h"
#include "result/text.h"

namespace kelpcheck {

namespace {

// "10%" or "10" is a tenth. Throws CLI::ValidationError.
double parse_share(const std::string &text) {
  constexpr double percent = 100, most = 10'000;
  size_t used = 0;
  double number = -1;
  try {
    number = std::stod(text, &used);
  } catch (const std::exception &) {
    used = 0;
  }
  const std::string rest = text.substr(used);
  const bool good = used > 0 && (rest.empty() || rest == "%" || rest == " %");
  if (!good || !(number >= 0 && number <= most))
    throw CLI::ValidationError("--tolerance", "\"" + text + "\" is not a percentage such as 10%");
  return number / percent;
}

class CompareCommand : public Command {
 public:
  std::string name() const override { return "compare"; }
  std::string summary() const override {
    return "Compares two JSON reports of the same kind and says whether it got worse.";
  }
  void add_options(CLI::App &app) override;
  int run() override;

 private:
  std::string old_file_, new_file_, html_;
  double tolerance_ = 0.1;
  bool strict_ = false, quiet_ = false;
};

void CompareCommand::add_options(CLI::App &app) {
  app.footer("Exit status: 0 not worse, 1 worse, 2 not comparable or wrong usage.");
  app.add_option("OLD.json", old_file_, "The older report")->required();
  app.add_option("NEW.json", new_file_, "The newer report")->required();
  app.add_option_function<std::string>(
         "--tolerance", [this](const std::string &text) { tolerance_ = parse_share(text); },
         "Largest change of a time or rate that does not count")
      ->default_str("10%");
  app.add_flag("--strict", strict_, "Count changed habits as worse, too");
  app.add_option("--html", html_, "HTML file (- is standard output)");
  app.add_flag("--quiet", quiet_, "Print only what differs, and the verdict");
}

int CompareCommand::run() {
  if (!html_.empty()) require_writable(html_);
  const Comparison comparison =
      compare(ReportFile(old_file_), ReportFile(new_file_), tolerance_, strict_);
  std::ostream &out = html_ == "-" ? std::cerr : std::cout;
  comparison_text(comparison, out, quiet_);
  if (!html_.empty()) write_file(html_, comparison_html(comparison));
  if (!out) return complain("cannot write the report to standard output");
  return comparison.worse() ? 1 : 0;
}

}  // namespace

std::unique_ptr<Command> compare_command() { return std::make_unique<CompareCommand>(); }

}  // namespace kelpcheck
