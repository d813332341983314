// The C of calls that read.
#include "explore/program_writer.h"

namespace kelpcheck::explore {

void ProgramWriter::read() {
  switch (call_->op) {
    case Op::get_value_byid:
    case Op::get_value_byname:
    case Op::get_snap_byid:
    case Op::get_snap_byname: return read_values();
    case Op::get_object_byid:
    case Op::get_object_byname: return read_objects();
    case Op::get_history_byid:
    case Op::get_history_byname: return read_history();
    case Op::get_id_byname: return read_ids();
    case Op::get_child: return read_children();
    default: return read_other();
  }
}

// The arrays or the group that the call is about, and the arguments that stand for them.
std::string ProgramWriter::ask() {
  if (!by_name(call_->op)) {
    array("int32_t", "ids", [&](const Entry &entry) { return id(entry.who); });
    return text(session(), ", ", count(), ", ids");
  }
  array("char *const", "names",
        [&](const Entry &entry) { return literal(full_name(place_, entry.who)); });
  line("GroupHandle group = group_of(", count(), ", names);");
  return session() + ", group";
}

void ProgramWriter::read_values() {
  const bool snap = reads_snapshots(call_->op);
  const std::string asked = ask();
  if (!snap) out("int32_t", "times", "-1");
  out("int16_t", "statuses", "-1");
  out("double", "values", "-1");
  out("int32_t", "errors", "-1");
  line("const int32_t result = ", kelpcheck::name_of(call_->op), "(", asked, ", ",
       snap ? literal(call_->time) : "times", ", statuses, values, errors);");
  if (by_name(call_->op)) line("kelp2_free_group(group);");
  saw_how("result != 0");
  if (!looks_at("value")) return;
  const size_t i = looked();
  const std::string format = snap ? "%d %.17g" : "%d %d %.17g";
  const std::string time = snap ? "" : text("times[", i, "], ");
  line("else if (errors[", i, "] == 0) saw(\"", format, "\", ", time, "statuses[", i, "], values[",
       i, "]);");
}

void ProgramWriter::read_objects() {
  const std::string asked = ask();
  out("ObjectHandle", "objects", "NULL");
  out("int32_t", "errors", "-1");
  line("const int32_t result = ", kelpcheck::name_of(call_->op), "(", asked, ", objects, errors);");
  if (by_name(call_->op)) line("kelp2_free_group(group);");
  saw_how("result != 0");
  const size_t i = looked();
  const bool is_text = looks_at("PN") || looks_at("ED");
  const bool is_int = looks_at("FQ") || looks_at("AR") || looks_at("HW");
  if (is_text) {
    line("else if (errors[", i, "] == 0) {");
    line("  char field[4096] = \"\";");
    line("  kelp2_object_get_string(objects[", i, "], \"", look_->item,
         "\", field, sizeof field);");
    line("  strcpy(got, field);");
    line("}");
  }
  if (is_int || looks_at("IV")) {
    const char *format = is_int ? "%d" : "%.17g";
    const char *type = is_int ? "int" : "double";
    line("else if (errors[", i, "] == 0) saw(\"", format, "\", kelp2_object_get_", type,
         "(objects[", i, "], \"", look_->item, "\"));");
  }
  line("free_objects(", count(), ", objects);");
}

void ProgramWriter::read_history() {
  const std::string asked = ask();
  array("int32_t", "modes", [](const Entry &entry) {
    return std::string(entry.mode == HistoryStatistics ? "HistoryStatistics" : "HistoryTimed");
  });
  out("ResultHandle", "results", "NULL");
  out("int32_t", "errors", "-1");
  line("const int32_t result = ", kelpcheck::name_of(call_->op), "(", asked, ", modes, ",
       literal(call_->begin), ", ", literal(call_->end), ", ", literal(call_->interval),
       ", results, errors);");
  if (by_name(call_->op)) line("kelp2_free_group(group);");
  saw_how("result != 0");
  if (look_ != nullptr && look_->entry > 0 && !looks_at(kEntry)) {
    line("else {");
    line("  const int32_t rows = kelp2_num_rows(results[", looked(), "]);");
    const bool statistics = call_->entries[looked()].mode == HistoryStatistics;
    if (looks_at("rows")) line("  saw(\"%d\", rows > 0 ? rows : 0);");
    if (!looks_at("rows") && statistics) saw_statistics();
    if (!looks_at("rows") && !statistics) saw_rows();
    line("}");
  }
  line("free_results(", count(), ", results);");
}

void ProgramWriter::saw_rows() {
  line("  int32_t i, time = 0, last = INT32_MIN;");
  line("  int16_t status = 0;");
  line("  double value = 0;");
  line("  int sorted = 1, fetched = 1;");
  line("  for (i = 0; i < rows; ++i) {");
  line("    fetched = fetched && kelp2_fetch_timed_value(results[", looked(),
       "], &time, &status, &value) == 0;");
  line("    sorted = sorted && time >= last;");
  line("    last = time;");
  if (looks_at(kRow)) {
    line("    if (time == ", literal(look_->time), ") saw(\"%d %.17g\", status, value);");
  }
  line("  }");
  if (looks_at("order of rows")) line("  saw(\"%s\", sorted ? \"that of time\" : \"another\");");
  if (looks_at("fetching")) line("  saw(\"%s\", fetched ? \"done\" : \"failed\");");
  line("  (void)sorted;");
  line("  (void)fetched;");
}

// "max of row 3"
void ProgramWriter::saw_statistics() {
  const std::string field = look_->item.substr(0, look_->item.find(' '));
  const std::string row = look_->item.substr(look_->item.rfind(' ') + 1);
  const bool fetching = looks_at("fetching");
  const bool whole = field.ends_with("time") || field == "status";
  line("  int32_t i, fetched = 0;");
  line("  StatValue row = {0};");
  line("  for (i = 0; i < rows", fetching ? "" : " && i < " + row, "; ++i) {");
  line("    fetched = kelp2_fetch_stat_value(results[", looked(), "], &row);");
  line("  }");
  if (fetching) {
    line("  saw(\"%s\", fetched == 0 || fetched == 1 ? \"done\" : \"failed\");");
  } else {
    line("  (void)fetched;");
    line("  if (i == ", row, ") saw(\"", whole ? "%d" : "%.17g", "\", row.", field, ");");
  }
}

void ProgramWriter::read_ids() {
  const std::string asked = ask();
  out("int32_t", "ids", "0");
  line("const int32_t result = kelp2_get_id_byname(", asked, ", ids);");
  line("kelp2_free_group(group);");
  if (looks_at("id")) {
    line("saw(\"%s\", result == 0 && is_called(ids[", looked(), "], ",
         literal(call_->entries[looked()].who.name), ") ? \"its own\" : \"another\");");
  } else if (looks_at(kEntry)) {
    line("saw(\"%s\", result == 0 ? \"done\" : \"failed\");");
  } else {
    saw_how("result != 0");
  }
}

void ProgramWriter::read_children() {
  line("ObjectHandle *list = NULL;");
  line("int32_t i, count = 0, errors[] = {0};");
  line("const int32_t result = kelp2_get_child(", session(), ", ",
       literal(node_name(place_, call_->node)), ", &count, &list);");
  saw_how("result != 0");
  // Sorted by always taking the least name that is greater than the one before.
  if (looks_at("points")) {
    line("else {");
    line("  char last[256] = \"\", next[256], name[256];");
    line("  for (;;) {");
    line("    next[0] = '\\0';");
    line("    for (i = 0; i < count; ++i) {");
    line("      kelp2_object_get_string(list[i], \"PN\", name, sizeof name);");
    line("      if (strcmp(name, last) <= 0) continue;");
    line("      if (next[0] == '\\0' || strcmp(name, next) < 0) strcpy(next, name);");
    line("    }");
    line("    if (next[0] == '\\0') break;");
    line("    for (i = 0; i < count; ++i) {");
    line("      kelp2_object_get_string(list[i], \"PN\", name, sizeof name);");
    line(
        "      if (strcmp(name, next) == 0) snprintf(got + strlen(got), sizeof got - strlen(got), "
        "\"[%s]\", name);");
    line("    }");
    line("    strcpy(last, next);");
    line("  }");
    line("}");
  }
  line("(void)i;");
  line("(void)errors;");
  line("if (count > 0) kelp2_free_list(count, list);");
}

void ProgramWriter::read_other() {
  switch (call_->op) {
    case Op::status: line("const int32_t result = kelp2_status(", session(), ");"); break;
    case Op::get_system_time:
      line("int32_t now = 0;");
      line("const int32_t result = kelp2_get_system_time(", session(), ", &now);");
      break;
    case Op::init:
      line("const int32_t result = sessions[", call_->session,
           "] == NULL ? 0 : kelp2_close(sessions[", call_->session, "]);");
      line("sessions[", call_->session, "] = NULL;");
      line("session(", call_->session, ");");
      break;
    case Op::decode_time:
      line("int32_t f[6] = {0};");
      line("const int32_t result = kelp2_decode_time(", literal(call_->time),
           ", f, f + 1, f + 2, f + 3, f + 4, f + 5);");
      if (looks_at("fields")) {
        line("saw(\"%d-%d-%d %d:%d:%d\", f[0], f[1], f[2], f[3], f[4], f[5]);");
      }
      if (looks_at("encoded again")) {
        line("saw(\"%d\", kelp2_encode_time(f[0], f[1], f[2], f[3], f[4], f[5]));");
      }
      break;
    default:
      line("ObjectHandle *list = NULL;");
      line("int32_t i, count = 0, found = 0;");
      line("const int32_t result = kelp2_get_database(", session(), ", &count, &list);");
      line("for (i = 0; i < count; ++i) {");
      line("  char name[256] = \"\";");
      line("  kelp2_object_get_string(list[i], \"PN\", name, sizeof name);");
      line("  found += strcmp(name, DATABASE) == 0;");
      line("}");
      line("if (count > 0) kelp2_free_list(count, list);");
      line(looks_at("the database in the list") ? "saw(\"%d\", found);" : "(void)found;");
  }
  if (look_ == nullptr || looks_at(kResult)) saw_how("result != 0");
  if (look_ != nullptr && !looks_at(kResult)) line("(void)result;");
}

}  // namespace kelpcheck::explore
