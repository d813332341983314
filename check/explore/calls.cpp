#include "explore/calls.h"

#include "result/text.h"

namespace kelpcheck::explore {

namespace {

constexpr size_t kShown = 12;  // entries of a call

std::string quoted(const std::string &name) { return '"' + printable(name) + '"'; }

// A point by id is shown by its name: ids are different every time.
std::string shown(const Place &place, const Target &target, bool named) {
  if (named) return quoted(full_name(place, target));
  if (target.sort == Target::stranger) return text(target.id);
  const bool former = target.sort == Target::former;
  return text(former ? "former_id(" : "id(", quoted(own_name(place, target)), ")");
}

std::string shown(const Field &field) {
  const std::string value = field.code == "ED" ? quoted(field.text) : show(field.number);
  return text(field.code, " = ", value);
}

std::string shown_object(const Place &place, const Call &call, const Entry &entry) {
  std::string line = quoted(own_name(place, entry.who));
  if (call.change == Insert) line += text(" ", name_of_kind(entry.kind));
  for (const Field &field : entry.fields) line += text(" ", shown(field));
  return line;
}

std::string shown(const Place &place, const Call &call, const Entry &entry) {
  if (call.op == Op::modify_object) return shown_object(place, call, entry);
  const bool statistics = entry.mode == HistoryStatistics;
  std::string line;
  if (!rows_of_one(call.op)) append_item(line, shown(place, entry.who, by_name(call.op)));
  if (has_times(call.op)) append_item(line, text(entry.time));
  if (has_values(call.op)) append_item(line, text(entry.status, ", ", show(entry.value)));
  if (statistics) append_item(line, "HistoryStatistics");
  const bool several = has_values(call.op) || statistics;
  return several ? "{" + line + "}" : line;
}

std::string shown_entries(const Place &place, const Call &call) {
  std::string line = "{";
  for (size_t i = 0; i < call.entries.size() && i < kShown; ++i) {
    line += (i > 0 ? ", " : "") + shown(place, call, call.entries[i]);
  }
  if (call.entries.size() > kShown) line += text(", ... ", call.entries.size(), " in all");
  return line + "}";
}

const char *name_of(ModifyOperation change) {
  switch (change) {
    case Insert: return "Insert";
    case Update: return "Update";
    default: return "Delete";
  }
}

// The whole argument list of an operation on values, or of one that reads points.
std::string arguments_of(const Call &call, const Place &place) {
  std::vector<std::string> arguments;
  const bool writes_at_one_time = has_values(call.op) && !has_times(call.op);
  const bool at_one_time = writes_at_one_time || reads_snapshots(call.op);
  const bool has_entries = has_times(call.op) || at_one_time || !call.entries.empty();
  if (rows_of_one(call.op)) arguments.push_back(shown(place, call.who, by_name(call.op)));
  if (has_entries) arguments.push_back(shown_entries(place, call));
  if (at_one_time) arguments.push_back(text(call.time));
  std::string line;
  for (const std::string &argument : arguments) append_item(line, argument);
  return line;
}

}  // namespace

bool by_name(Op op) {
  switch (op) {
    case Op::get_object_byname:
    case Op::get_value_byname:
    case Op::get_history_byname:
    case Op::get_snap_byname:
    case Op::get_id_byname:
    case Op::write_histroy_byname: return true;
    default: return false;
  }
}

bool rows_of_one(Op op) {
  return op == Op::write_histroy_byid || op == Op::write_histroy_byname ||
         op == Op::write_cache_one;
}

bool has_times(Op op) { return rows_of_one(op) || op == Op::write_cache; }

bool has_values(Op op) { return has_times(op) || op == Op::write_value || op == Op::write_snap; }

bool reads_snapshots(Op op) { return op == Op::get_snap_byid || op == Op::get_snap_byname; }

bool writes(const Call &call) { return has_values(call.op) || call.op == Op::modify_object; }

const char *name_of_kind(int32_t kind) {
  switch (kind) {
    case AX: return "AX";
    case DX: return "DX";
    case I2: return "I2";
    case I4: return "I4";
    case R8: return "R8";
    default: return "KindNode";
  }
}

std::string node_name(const Place &place, int node) {
  return node == kDatabase ? place.database : place.database + "." + place.nodes[node];
}

std::string own_name(const Place &place, const Target &target) {
  return target.is_node() ? place.nodes[target.node] : target.name;
}

std::string full_name(const Place &place, const Target &target) {
  std::string name = target.is_node() ? "" : "." + target.name;
  if (target.node != kDatabase) name = place.nodes[target.node] + name;
  if (target.sort == Target::bare) return name;
  const std::string database = place.database + (target.sort == Target::elsewhere ? "NONE" : "");
  return database + "." + name;
}

std::string line_of(const Call &call, const Place &place) {
  const char *session = call.session == 0 ? "" : "other, ";
  std::string line = text(kelpcheck::name_of(call.op), "(", session);
  switch (call.op) {
    case Op::modify_object:
      line += text(name_of(call.change), ", ", quoted(node_name(place, call.node)), ", ",
                   shown_entries(place, call));
      break;
    case Op::get_child: line += quoted(node_name(place, call.node)); break;
    case Op::decode_time: line += text(call.time); break;
    case Op::get_history_byid:
    case Op::get_history_byname:
      line +=
          text(shown_entries(place, call), ", ", call.begin, ", ", call.end, ", ", call.interval);
      break;
    default: line += arguments_of(call, place);
  }
  return line + ")";
}

}  // namespace kelpcheck::explore
