// A table of text: a name and cells that end at the same column.
#pragma once

#include <string>
#include <vector>

namespace kelpcheck {

// Blanks behind a text, or before it, up to that many columns.
std::string padded(const std::string &text, size_t columns);
std::string aligned(const std::string &text, size_t columns);

class Table {
 public:
  // The heading of the names.
  explicit Table(const std::string &head) : names_(1, head) {}

  void add_column(const std::string &title) { columns_.push_back({title}); }
  // A cell for each column that was added.
  void add_row(const std::string &name, const std::vector<std::string> &cells);
  void drop_column(const std::string &title);
  size_t width() const;
  std::string text() const;

 private:
  std::vector<std::string> names_;
  std::vector<std::vector<std::string>> columns_;  // with their titles
};

}  // namespace kelpcheck
