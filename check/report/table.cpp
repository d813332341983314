#include "report/table.h"

#include <algorithm>

#include "report/terminal.h"

namespace kelpcheck {

namespace {

constexpr size_t kApart = 2;  // columns

size_t widest(const std::vector<std::string> &cells) {
  size_t most = 0;
  for (const std::string &cell : cells) most = std::max(most, width_of(cell));
  return most;
}

std::string blanks_for(const std::string &text, size_t columns) {
  const size_t width = width_of(text);
  return std::string(columns > width ? columns - width : 0, ' ');
}

}  // namespace

std::string padded(const std::string &text, size_t columns) {
  return text + blanks_for(text, columns);
}

std::string aligned(const std::string &text, size_t columns) {
  return blanks_for(text, columns) + text;
}

void Table::add_row(const std::string &name, const std::vector<std::string> &cells) {
  names_.push_back(name);
  for (size_t i = 0; i < columns_.size(); ++i) columns_[i].push_back(cells.at(i));
}

void Table::drop_column(const std::string &title) {
  std::erase_if(columns_, [&](const auto &column) { return column.front() == title; });
}

size_t Table::width() const {
  size_t width = widest(names_);
  for (const auto &column : columns_) width += kApart + widest(column);
  return width;
}

std::string Table::text() const {
  std::string lines;
  for (size_t row = 0; row < names_.size(); ++row) {
    lines += padded(names_[row], widest(names_));
    for (const auto &column : columns_) lines += aligned(column[row], kApart + widest(column));
    lines += '\n';
  }
  return lines;
}

}  // namespace kelpcheck
