// What a call may give.
#include <algorithm>
#include <cmath>

#include "explore/model.h"
#include "explore/summary.h"
#include "result/text.h"

namespace kelpcheck::explore {

namespace {

constexpr int32_t kHeld = 60;  // seconds that every server that holds values does so
constexpr int32_t kAround = 30 * 86400;

std::vector<std::string> texts_of(const std::vector<std::optional<Current>> &versions) {
  std::vector<std::string> texts;
  for (const auto &current : versions) {
    if (!current) continue;
    const std::string row = row_text(current->row.status, current->row.value);
    texts.push_back(std::to_string(current->time) + " " + row);
  }
  return texts;
}

std::vector<std::string> texts_of(const std::vector<Rows> &versions) {
  std::vector<std::string> texts;
  for (const Rows &rows : versions) texts.push_back(rows_text(rows));
  return texts;
}

// Values have points only; what is asked of a node is anybody's guess.
bool is_node(const Call &call, size_t i) { return call.entries[i - 1].who.is_node(); }

bool may_be_empty(const Cell &cell) {
  const auto &good = cell.rows.good();
  const auto none = [](const Rows &rows) { return rows.empty(); };
  return good.empty() || std::any_of(good.begin(), good.end(), none);
}

// Operations that look an object up, so that they may fail as a whole where it is not there.
bool needs_objects(Op op) {
  switch (op) {
    case Op::modify_object:
    case Op::get_child:
    case Op::get_object_byid:
    case Op::get_value_byid:
    case Op::get_history_byid:
    case Op::get_snap_byid: return true;
    default: return has_values(op) || by_name(op);
  }
}

bool must_be_done(const Allowed &entry) { return !entry.anything() && !entry.takes(kFailed); }

}  // namespace

bool unusual_time(const Ground &ground, int32_t time) {
  return std::abs(int64_t{time} - ground.base) > kAround;
}

bool unusual_name(const std::string &name) {
  constexpr size_t longest = 20;
  const bool plain = std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  });
  return !plain || name.size() > longest;
}

bool unusual_text(const std::string &text) {
  constexpr size_t longest = 40;
  const bool plain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return !plain || text.size() > longest;
}

// Whether an operation on it can do anything.
Allowed Model::existence(const Target &target, int64_t now) const {
  const Life life = world_.life(target);
  const bool bare = target.sort == Target::bare;
  if (bare && ground_.ways.bundled) return {{kFailed}};
  if (bare || life == Life::unsure) return {};
  Allowed allowed{{life == Life::present ? kDone : kFailed}};
  const ModelObject *object = world_.find(target);
  allowed.unsettled = object != nullptr && now < object->changed + ground_.settle;
  if (target.sort == Target::former) {
    const ModelObject *later = world_.find({Target::own, target.node, target.name});
    allowed.unsettled = later != nullptr && now < later->changed + ground_.settle;
  }
  return allowed;
}

Expectation Model::expect(const Call &call, int64_t now) const {
  Expectation all;
  if (call.op == Op::modify_object) {
    expect_changes(call, now, all);
  } else if (has_values(call.op)) {
    expect_writes(call, now, all);
  } else {
    expect_readings(call, now, all);
  }
  expect_result(call, all);
  return all;
}

// A call may fail as a whole where none of its entries has to be done.
void Model::expect_result(const Call &call, Expectation &all) const {
  Allowed result{{kDone}};
  bool any_must = false;
  for (const auto &[key, allowed] : all) {
    if (key.item != kEntry) continue;
    any_must = any_must || must_be_done(allowed);
    result.unsettled = result.unsettled || allowed.unsettled;
  }
  const bool has_entries = !call.entries.empty() || call.op == Op::get_child;
  const bool may_fail = has_entries || !ground_.ways.bundled;
  if (needs_objects(call.op) && !any_must && may_fail) result.good.push_back(kFailed);
  const auto statistics = [](const Entry &entry) { return entry.mode == HistoryStatistics; };
  const bool no_interval =
      call.interval <= 0 && std::any_of(call.entries.begin(), call.entries.end(), statistics);
  if (no_interval && !ground_.ways.bundled) result.good.push_back(kFailed);
  all[{0, kResult}] = result;
}

void Model::expect_readings(const Call &call, int64_t now, Expectation &all) const {
  if (call.op == Op::get_child) return expect_children(call, now, all);
  if (call.op == Op::get_database) all[{0, "the database in the list"}] = {{"1"}};
  if (call.op == Op::decode_time && ground_.ways.utc == Known::yes) {
    all[{0, "fields"}] = {{utc_fields(call.time)}};
    all[{0, "encoded again"}] = {{std::to_string(call.time)}};
  }
  for (size_t i = 1; i <= call.entries.size(); ++i) {
    const Target &who = call.entries[i - 1].who;
    Allowed entry = existence(who, now);
    const bool there = entry.takes(kDone) && !entry.anything();
    if (call.op == Op::get_id_byname) {
      if (there) all[{i, "id"}] = {{"its own"}, {}, entry.unsettled};
      if (!there) entry = {};
    }
    all[{i, kEntry}] = entry;
    if (!there) continue;
    switch (call.op) {
      case Op::get_object_byid:
      case Op::get_object_byname: expect_object(call, i, now, all); break;
      case Op::get_value_byid:
      case Op::get_value_byname: expect_value(call, i, now, all); break;
      case Op::get_snap_byid:
      case Op::get_snap_byname: expect_snap(call, i, now, all); break;
      case Op::get_history_byid:
      case Op::get_history_byname: expect_history(call, i, now, all); break;
      default: break;
    }
  }
}

void Model::expect_object(const Call &call, size_t i, int64_t now, Expectation &all) const {
  const Target &who = call.entries[i - 1].who;
  const ModelObject &object = *world_.find(who);
  if (!who.is_node()) all[{i, "PN"}] = {{who.name}};
  const bool unsettled = now < object.changed + ground_.settle;
  for (const auto &[code, versions] : object.fields) {
    if (!ground_.ways.keeps(code, who.is_node())) continue;
    all[{i, code}] = {versions.good(), versions.early(call.session, now, ground_.settle),
                      unsettled};
  }
}

void Model::expect_children(const Call &call, int64_t now, Expectation &all) const {
  const ModelObject &node = world_.nodes[call.node];
  Allowed entry = existence({Target::own, call.node, ""}, now);
  if (entry.takes(kFailed) && !entry.anything()) {
    entry.good = {kDone, kFailed};  // a node that is not there may have none
    if (ground_.ways.bundled) entry.good = {kDone};
  }
  all[{1, kEntry}] = entry;
  Allowed children{{""}, {}, entry.unsettled};
  for (const auto &[name, point] : world_.points[call.node]) {
    if (point.life == Life::unsure || node.life == Life::unsure) return;
    children.unsettled = children.unsettled || now < point.changed + ground_.settle;
    if (point.life == Life::present) children.good[0] += "[" + name + "]";
  }
  all[{1, "points"}] = children;
}

void Model::expect_value(const Call &call, size_t i, int64_t now, Expectation &all) const {
  const ModelObject &point = *world_.find(call.entries[i - 1].who);
  const auto &versions = point.current;
  const auto early = versions.early(call.session, now, ground_.settle);
  const auto has_none = [](const auto &list) {
    return std::find(list.begin(), list.end(), std::nullopt) != list.end();
  };
  const bool snapped = ground_.ways.snap_sets_current != Known::no && !point.snapshots.empty();
  if (is_node(call, i) || versions.good().empty() || snapped) {
    all[{i, kEntry}] = {};
    return;
  }
  Allowed &entry = all[{i, kEntry}];
  const std::vector<std::string> good = texts_of(versions.good());
  if (good.empty()) {
    entry.good = {kFailed};
  } else {
    if (has_none(versions.good())) entry.good.push_back(kFailed);
    if (has_none(early)) entry.early.push_back(kFailed);
    all[{i, "value"}] = {good, texts_of(early), entry.unsettled};
  }
}

// Where snapshots are the history's values, the newest at or before the time; else only what was
// written as a snapshot at that very time is known.
void Model::expect_snap(const Call &call, size_t i, int64_t now, Expectation &all) const {
  const ModelObject &point = *world_.find(call.entries[i - 1].who);
  Allowed &entry = all[{i, kEntry}];
  Allowed value;
  bool sure = false;  // a value is there for good
  const auto add = [&](const Cell &cell) {
    value.unsettled = value.unsettled || cell.rows.unsettled(now, ground_.settle);
    if (cell.rows.good().empty()) return false;
    for (const Rows &rows : cell.rows.good()) {
      for (const Row &row : rows) value.good.push_back(row_text(row.status, row.value));
    }
    sure = !may_be_empty(cell);
    return true;
  };
  const bool strict = ground_.ways.bundled;
  const bool extreme = call.time == INT32_MIN || call.time == INT32_MAX;
  bool known = !is_node(call, i) && (strict || !extreme);
  if (known && ground_.ways.snap_holds == Known::yes) {
    auto next = point.history.upper_bound(call.time);
    // How far back another server looks is its own affair.
    const auto near = [&](int32_t time) { return strict || int64_t{call.time} - time <= kHeld; };
    while (known && !sure && next != point.history.begin()) {
      --next;
      known = near(next->first) && add(next->second);
    }
  } else if (known) {
    const auto snapshot = point.snapshots.find(call.time);
    const bool alone =
        !point.history.contains(call.time) || point.history.at(call.time).by == Op::write_snap;
    known = snapshot != point.snapshots.end() && alone && add(snapshot->second);
  }
  if (!known) {
    all.erase({i, kEntry});
    all[{i, kEntry}] = {};
    return;
  }
  entry.unsettled = entry.unsettled || value.unsettled;
  if (value.good.empty()) {
    entry.good = {kFailed};
  } else {
    if (!sure) entry.good.push_back(kFailed);
    value.unsettled = entry.unsettled;
    all[{i, "value"}] = value;
  }
}

void Model::expect_history(const Call &call, size_t i, int64_t now, Expectation &all) const {
  const Entry &asked = call.entries[i - 1];
  const ModelObject &point = *world_.find(asked.who);
  Allowed &entry = all[{i, kEntry}];
  const bool empty_range = call.begin >= call.end;
  const bool odd =
      empty_range || unusual_time(ground_, call.begin) || unusual_time(ground_, call.end);
  const Known inside = ground_.ways.end_inside;
  const bool reborn = entry.unsettled && point.lives > 1;  // its former rows may linger
  bool has_rows = false;                                   // for good
  // A range whose end comes before its begin has no rows; an empty one has those at its end.
  const bool nothing = call.begin > call.end || (empty_range && inside == Known::no);
  // Nothing can be asked for that ends behind the last second there is.
  const bool last_second = call.end == INT32_MAX && !ground_.ways.bundled;
  std::map<int32_t, Cell> within;
  bool unsettled = false;
  auto next = point.history.lower_bound(call.begin);
  for (; !nothing && next != point.history.end(); ++next) {
    const auto &[time, cell] = *next;
    const bool at_end = time == call.end;
    if (time > call.end || (at_end && inside == Known::no)) break;
    const auto early = cell.rows.early(call.session, now, ground_.settle);
    Allowed rows{texts_of(cell.rows.good()), texts_of(early), reborn};
    const bool maybe = at_end && (inside == Known::unknown || last_second);
    if (maybe && !rows.anything()) rows.good.push_back(kNone);
    const bool surely_there = !maybe && !may_be_empty(cell);
    has_rows = has_rows || surely_there;
    if (asked.mode == HistoryTimed) all[{i, kRow, time}] = rows;
    within.insert(*next);
    unsettled = unsettled || cell.rows.unsettled(now, ground_.settle);
  }
  const bool no_interval = asked.mode == HistoryStatistics && call.interval <= 0;
  const bool may_refuse = odd || !has_rows || no_interval;
  if (may_refuse && !ground_.ways.bundled) entry.good.push_back(kFailed);
  if (is_node(call, i)) entry = {};
  if (asked.mode == HistoryTimed) {
    all[{i, kOtherRows}] = {{kNone}, {}, reborn};
    all[{i, "order of rows"}] = {{"that of time"}};
    all[{i, "fetching"}] = {{kDone}};
    all[{0, "rows of a failed entry"}] = {{kNone}};
  } else if (ground_.ways.statistics == Known::yes && call.begin < call.end && !entry.anything()) {
    expect_statistics(call, i, within, ground_.ways, all);
    for (auto &[key, allowed] : all) {
      if (key.entry == i && key.item != kEntry) allowed.unsettled = unsettled || reborn;
    }
  }
}

void Model::expect_writes(const Call &call, int64_t now, Expectation &all) const {
  if (!rows_of_one(call.op)) {
    for (size_t i = 1; i <= call.entries.size(); ++i) {
      const Entry &entry = call.entries[i - 1];
      all[{i, kEntry}] = write_entry(call, entry, entry.who, now);
    }
    return;
  }
  Allowed one = existence(call.who, now);
  for (const Entry &entry : call.entries) {
    const bool may_refuse = write_entry(call, entry, call.who, now).takes(kFailed);
    if (may_refuse && must_be_done(one)) one.good.push_back(kFailed);
  }
  if (call.entries.empty() && (!ground_.ways.bundled || one.takes(kFailed))) one = {};
  all[{1, kEntry}] = one;
}

// A refusal of an unusual time may be the server's way; so may one of a second value, or of a
// current one that is not newer.
Allowed Model::write_entry(const Call &call, const Entry &entry, const Target &who,
                           int64_t now) const {
  Allowed allowed = existence(who, now);
  if (ground_.ways.bundled || allowed.anything() || !allowed.takes(kDone)) return allowed;
  const int32_t time = has_times(call.op) ? entry.time : call.time;
  const ModelObject &point = *world_.find(who);
  const bool unusual = unusual_time(ground_, time) || who.is_node() || !taken_.contains(call.op);
  const bool written = point.history.contains(time) || point.snapshots.contains(time);
  const auto same = [&](const Entry &other) {
    const bool same_time = !has_times(call.op) || other.time == time;
    return other.who == entry.who && same_time;
  };
  const bool doubled = std::count_if(call.entries.begin(), call.entries.end(), same) > 1;
  const auto not_older = [&](const auto &current) { return current && time <= current->time; };
  const auto &currents = point.current.good();
  const bool older =
      call.op == Op::write_value && std::any_of(currents.begin(), currents.end(), not_older);
  if (unusual || written || doubled || older) allowed.good.push_back(kFailed);
  return allowed;
}

void Model::expect_changes(const Call &call, int64_t now, Expectation &all) const {
  all[{0, "number of objects done"}] = {{"as the entries say"}};
  for (size_t i = 1; i <= call.entries.size(); ++i) {
    const Entry &entry = call.entries[i - 1];
    Allowed allowed = change_entry(call, entry, now);
    const auto same = [&](const Entry &other) { return other.who == entry.who; };
    const auto count = std::count_if(call.entries.begin(), call.entries.end(), same);
    if (count > 1 && !allowed.anything() && call.change != Update) {
      const bool must = !allowed.takes(kFailed);
      allowed.good = {kDone, kFailed};
      const std::string item = "times that " + entry.who.name + " is done";
      if (must && call.change == Insert) all[{0, item}] = {{"1"}, {}, allowed.unsettled};
    }
    all[{i, kEntry}] = allowed;
    all[{i, kObjectRead}] = {{kNone}};
  }
}

Allowed Model::change_entry(const Call &call, const Entry &entry, int64_t now) const {
  Allowed allowed = existence(entry.who, now);
  if (allowed.anything()) return allowed;
  const bool there = allowed.takes(kDone);
  bool may_refuse = std::any_of(entry.fields.begin(), entry.fields.end(), [&](const Field &field) {
    return !ground_.ways.keeps(field.code, entry.who.is_node()) || unusual_text(field.text);
  });
  if (call.change == Insert) {
    const Life parent = entry.who.is_node() ? Life::present : world_.nodes[entry.who.node].life;
    if (parent == Life::unsure) return {};
    const bool impossible = there || parent == Life::absent;
    allowed.good = {impossible ? kFailed : kDone};
    may_refuse = may_refuse || unusual_name(entry.who.name);
  } else if (call.change == Delete && there && entry.who.is_node()) {
    const auto &points = world_.points[entry.who.node];
    const bool full = std::any_of(points.begin(), points.end(), [](const auto &item) {
      return item.second.life != Life::absent;
    });
    if (full && ground_.ways.full_nodes_stay == Known::yes) allowed.good = {kFailed};
    if (full && ground_.ways.full_nodes_stay == Known::unknown) return {};
  }
  if (may_refuse && !ground_.ways.bundled && allowed.takes(kDone)) allowed.good.push_back(kFailed);
  return allowed;
}

}  // namespace kelpcheck::explore
