// Writes the C of single calls.
#pragma once

#include <set>

#include "explore/answer.h"
#include "explore/calls.h"
#include "result/text.h"

namespace kelpcheck::explore {

// What an array is expected to have: nothing written behind it.
inline constexpr const char *kOnlyEntries = "only the entries of its arrays written";

// A C literal of these bytes, and of a number.
std::string literal(const std::string &bytes);
std::string literal(int32_t value);

// Writes one call after the other. For the last one it adds what looks at the one thing that was
// not as expected, and notes what it sees with saw().
class ProgramWriter {
 public:
  // `formers` are the full names of the points whose former ids are used.
  ProgramWriter(const Place &place, const std::set<std::string> &formers)
      : place_(place), formers_(formers) {}

  // A block of C; `look` is null but for the last call.
  std::string block(const Call &call, const Key *look);
  // The variable that keeps the id of a point that is deleted.
  std::string former(const std::string &full_name) const;

 private:
  template <typename... Parts>
  void line(const Parts &...parts) {
    block_ += "    " + text(parts...) + "\n";
  }
  // An array with a value of each entry; null without any.
  template <typename Value>
  void array(const char *type, const char *name, Value &&value) {
    std::string values;
    for (const Entry &entry : call_->entries) append_item(values, value(entry));
    if (values.empty()) return line("const ", type, " *", name, " = NULL;");
    line("const ", type, " ", name, "[] = {", values, "};");
  }
  void out(const char *type, const char *name, const char *mark);

  bool looks_at(const std::string &item) const { return look_ != nullptr && look_->item == item; }
  size_t looked() const { return look_ == nullptr || look_->entry == 0 ? 0 : look_->entry - 1; }
  std::string session() const { return text("session(", call_->session, ")"); }
  size_t count() const { return call_->entries.size(); }
  std::string id(const Target &who) const;

  void saw_how(const char *failed);
  void saw_overrun();
  void write_values();
  void guard_former_ids();
  void modify();
  void saw_modified();
  void set_fields(size_t entry);
  void read();
  std::string ask();
  void read_values();
  void read_objects();
  void read_history();
  void saw_rows();
  void saw_statistics();
  void read_ids();
  void read_children();
  void read_other();

  const Place &place_;
  const std::set<std::string> &formers_;
  const Call *call_ = nullptr;
  const Key *look_ = nullptr;
  std::string block_;
  std::vector<std::pair<std::string, std::string>> outs_;  // arrays and the marks in them
};

}  // namespace kelpcheck::explore
