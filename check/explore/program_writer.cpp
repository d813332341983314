#include "explore/program_writer.h"

#include <algorithm>
#include <cstdio>

namespace kelpcheck::explore {

// Octal escapes end after three digits, whatever follows; "??" would begin a trigraph.
std::string literal(const std::string &bytes) {
  std::string literal = "\"";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      literal += std::string("\\") + c;
    } else if (byte < ' ' || byte > '~' || c == '?') {
      char octal[8];
      std::snprintf(octal, sizeof octal, "\\%03o", byte);
      literal += octal;
    } else {
      literal += c;
    }
  }
  return literal + "\"";
}

std::string literal(int32_t value) { return value == INT32_MIN ? "INT32_MIN" : text(value); }

std::string ProgramWriter::block(const Call &call, const Key *look) {
  call_ = &call;
  look_ = look;
  block_.clear();
  outs_.clear();
  std::string comment = printable(line_of(call, place_));
  for (size_t at = 0; (at = comment.find("*/", at)) != std::string::npos;) {
    comment.replace(at, 2, "* /");
  }
  line("/* ", comment, " */");
  if (call.op == Op::modify_object) {
    modify();
  } else if (has_values(call.op)) {
    write_values();
  } else {
    read();
  }
  if (looks_at(kelpcheck::name_of(call.op))) saw_overrun();
  return "  {\n" + block_ + "  }\n";
}

std::string ProgramWriter::former(const std::string &full_name) const {
  const auto place = std::distance(formers_.begin(), formers_.find(full_name));
  return text("former_", place + 1);
}

std::string ProgramWriter::id(const Target &who) const {
  if (who.sort == Target::stranger) return literal(who.id);
  const std::string name = full_name(place_, {Target::own, who.node, who.name});
  if (who.sort == Target::former) return former(name);
  return text("id_of(", session(), ", ", literal(name), ")");
}

// With one entry more than the library is told of.
void ProgramWriter::out(const char *type, const char *name, const char *mark) {
  std::string marks = mark;
  for (size_t i = 0; i < count(); ++i) marks += text(", ", mark);
  line(type, " ", name, "[] = {", marks, "};");
  outs_.push_back({name, mark});
}

// Whether the library wrote behind an array.
void ProgramWriter::saw_overrun() {
  std::string kept = "1";
  for (const auto &[name, mark] : outs_) kept += text(" && ", name, "[", count(), "] == ", mark);
  line("if (", kept, ") saw(\"", kOnlyEntries, "\");");
  line("else saw(\"one after them\");");
}

// Whether the call and the entry that is looked at went well; `failed` is the C that says that the
// whole call did not.
void ProgramWriter::saw_how(const char *failed) {
  if (look_ == nullptr) {
    line("(void)result;");
  } else if (looks_at(kResult)) {
    line("saw(\"%s\", ", failed, " ? \"failed\" : \"done\");");
  } else {
    if (looks_at(kelpcheck::name_of(call_->op))) return line("(void)result;");
    line("if (", failed, ") saw(\"the whole call failed\");");
    if (!looks_at(kEntry)) return;
    line("else saw(\"%s\", errors[", looked(), "] == 0 ? \"done\" : \"failed\");");
  }
}

void ProgramWriter::write_values() {
  const bool one = rows_of_one(call_->op);
  if (has_times(call_->op)) {
    array("int32_t", "times", [](const Entry &entry) { return literal(entry.time); });
  }
  array("int16_t", "statuses", [](const Entry &entry) { return text(entry.status); });
  array("double", "values", [](const Entry &entry) { return exact(entry.value); });
  if (!one) array("int32_t", "ids", [&](const Entry &entry) { return id(entry.who); });
  out("int32_t", "errors", "-1");
  std::string target = text(count(), ", ids");
  if (call_->op == Op::write_histroy_byname) {
    target = text(literal(full_name(place_, call_->who)), ", ", count());
  } else if (one) {
    target = text(id(call_->who), ", ", count());
  }
  guard_former_ids();
  const std::string time = has_times(call_->op) ? "times" : literal(call_->time);
  line("const int32_t result = ", kelpcheck::name_of(call_->op), "(", session(), ", 0, ", target,
       ", ", time, ", statuses, values, errors);");
  saw_how("result != 0");
}

// Nothing is written to an id that has become somebody's.
void ProgramWriter::guard_former_ids() {
  const auto guard = [&](const Target &who) {
    if (who.sort == Target::former) line("if (!nobodys(", id(who), ")) return;");
  };
  if (rows_of_one(call_->op)) guard(call_->who);
  for (const Entry &entry : call_->entries) guard(entry.who);
}

void ProgramWriter::modify() {
  const char *const changes[] = {"", "Update", "Insert", "Delete"};
  out("ObjectHandle", "objects", "NULL");
  out("int32_t", "errors", "-1");
  if (call_->change == Insert) {
    for (size_t i = 0; i < count(); ++i) {
      const Target &who = call_->entries[i].who;
      const char *kind_name = who.is_node() ? "KindNode" : name_of_kind(call_->entries[i].kind);
      line("objects[", i, "] = kelp2_new_object(", session(), ", ", literal(own_name(place_, who)),
           ", ", kind_name, ");");
    }
  } else {
    for (const Entry &entry : call_->entries) {
      const std::string name = full_name(place_, entry.who);
      if (!formers_.contains(name)) continue;
      line("remember(&", former(name), ", ", session(), ", ", literal(name), ");");
    }
    array("char *const", "names",
          [&](const Entry &entry) { return literal(full_name(place_, entry.who)); });
    line("GroupHandle group = group_of(", count(), ", names);");
    line("kelp2_get_object_byname(", session(), ", group, objects, errors);");
    line("kelp2_free_group(group);");
  }
  for (size_t i = 0; i < count(); ++i) set_fields(i);
  line("const int32_t result = kelp2_modify_object(", session(), ", ", changes[call_->change], ", ",
       literal(node_name(place_, call_->node)), ", ", count(), ", objects, errors);");
  saw_how("result < 0");
  line("free_objects(", count(), ", objects);");
  saw_modified();
}

void ProgramWriter::set_fields(size_t entry) {
  for (const Field &field : call_->entries[entry].fields) {
    const char *type = "int";
    std::string value;
    if (field.code == "ED") {
      type = "string";
      value = literal(field.text);
    } else if (field.code == "IV") {
      type = "double";
      value = exact(field.number);
    } else {
      value = literal(static_cast<int32_t>(field.number));
    }
    line("if (objects[", entry, "] != NULL) kelp2_object_set_", type, "(objects[", entry, "], \"",
         field.code, "\", ", value, ");");
  }
}

void ProgramWriter::saw_modified() {
  if (look_ == nullptr) return;
  std::string zeros = "0";
  for (size_t i = 0; i < count(); ++i) {
    const std::string times = "times that " + call_->entries[i].who.name + " is done";
    if (looks_at("number of objects done") || looks_at(times))
      zeros += text(" + (errors[", i, "] == 0)");
  }
  if (looks_at("number of objects done")) {
    line("if (result == ", zeros, ") saw(\"as the entries say\");");
    line("else saw(\"%d, with %d entries 0\", result, ", zeros, ");");
  } else if (look_->item.starts_with("times that ")) {
    line("saw(\"%d\", ", zeros, ");");
  } else if (look_->item == "id" || look_->item.find("looked up by name") != std::string::npos) {
    // Of a point just inserted: found by name, and its id is that of an object of its name.
    const Target &who = call_->entries[looked()].who;
    line("id_of(", session(), ", ", literal(full_name(place_, who)), ");");
    line("saw(\"", look_->item.starts_with("object") ? kDone : "its own", "\");");
  }
}

}  // namespace kelpcheck::explore
