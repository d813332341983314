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
  const std::string name = target.name.empty() ? place.nodes[target.node] : target.name;
  return text(target.sort == Target::former ? "former_id(" : "id(", quoted(name), ")");
}

std::string shown(const Field &field) {
  return text(field.code, " = ", field.code == "ED" ? quoted(field.text) : show(field.number));
}

std::string shown_object(const Place &place, const Call &call, const Entry &entry) {
  std::string line =
      entry.who.name.empty() ? quoted(place.nodes[entry.who.node]) : quoted(entry.who.name);
  if (call.change == Insert) line += text(" ", name_of_kind(entry.kind));
  for (const Field &field : entry.fields) line += text(" ", shown(field));
  return line;
}

std::string shown(const Place &place, const Call &call, const Entry &entry) {
  if (call.op == Op::modify_object) return shown_object(place, call, entry);
  std::string line;
  if (!rows_of_one(call.op)) line = shown(place, entry.who, by_name(call.op));
  const auto add = [&](const std::string &part) { line += (line.empty() ? "" : ", ") + part; };
  if (has_times(call.op)) add(text(entry.time));
  if (has_values(call.op)) add(text(entry.status, ", ", show(entry.value)));
  if (entry.mode == HistoryStatistics) add("HistoryStatistics");
  return has_values(call.op) || entry.mode == HistoryStatistics ? "{" + line + "}" : line;
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
  return change == Insert ? "Insert" : change == Update ? "Update" : "Delete";
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

std::string full_name(const Place &place, const Target &target) {
  std::string name = target.name.empty() ? "" : "." + target.name;
  if (target.node != kDatabase) name = place.nodes[target.node] + name;
  if (target.sort == Target::bare) return name;
  return place.database + (target.sort == Target::elsewhere ? "NONE." : ".") + name;
}

std::string line_of(const Call &call, const Place &place) {
  std::string line = text(kelpcheck::name_of(call.op), "(", call.session == 0 ? "" : "other, ");
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
    default:
      if (rows_of_one(call.op)) line += shown(place, call.who, by_name(call.op)) + ", ";
      if (rows_of_one(call.op) || !call.entries.empty() || has_values(call.op)) {
        line += shown_entries(place, call);
      }
      if (call.op == Op::write_value || call.op == Op::write_snap || call.op == Op::get_snap_byid ||
          call.op == Op::get_snap_byname) {
        line += text(", ", call.time);
      }
  }
  return line + ")";
}

}  // namespace kelpcheck::explore
