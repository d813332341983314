// What a call has done. What was acknowledged is there; after a failed call or entry there is what
// was there before, or what was written, unless failed ones are known to change nothing.
#include <algorithm>

#include "explore/model.h"

namespace kelpcheck::explore {

namespace {

bool says(const Answer &answer, const Key &key, const char *what) {
  const auto found = answer.find(key);
  return found != answer.end() && found->second == what;
}

bool done(const Answer &answer, size_t entry) {
  return !says(answer, {0, kResult}, kFailed) && says(answer, {entry, kEntry}, kDone);
}

// Which of two values stays is known where both were written by operations of one kind.
enum class Writer { history, current, snapshot, cache };

Writer writer(Op op) {
  switch (op) {
    case Op::write_value: return Writer::current;
    case Op::write_snap: return Writer::snapshot;
    case Op::write_cache:
    case Op::write_cache_one: return Writer::cache;
    default: return Writer::history;
  }
}

Second second_of(const Ways &ways, const Cell &cell, Op op, bool same_call) {
  if (ways.bundled) return Second::replaces;
  const bool other_way = writer(cell.by) != writer(op);
  if (other_way || (cell.mixed && !ways.at_once)) return Second::unknown;
  if (same_call) return writer(op) == Writer::history ? ways.second_in_call : Second::unknown;
  switch (writer(op)) {
    case Writer::history: return ways.second;
    case Writer::snapshot: return ways.second_snapshot;
    case Writer::cache: return ways.second_cached;
    default: return Second::unknown;
  }
}

// A field's value as the model keeps it.
std::string value_of(const Field &field) {
  return field.code == "ED" ? field.text : exact(field.number);
}

// Whether a value of this time is newer than every one that may be the current one.
bool is_newest(const ModelObject &point, int32_t time) {
  const auto &versions = point.current.good();
  return std::all_of(versions.begin(), versions.end(), [&](const std::optional<Current> &current) {
    return !current || current->time < time;
  });
}

// What a row makes of what is there already at its time.
std::vector<Rows> written_over(const std::vector<Rows> &before, const Row &row, Second second) {
  std::vector<Rows> after;
  const bool any = second == Second::unknown;
  for (const Rows &old : before) {
    if (old.empty()) {
      Versions<Rows>::add(after, {row});
      continue;
    }
    Rows both = old;
    both.push_back(row);
    std::sort(both.begin(), both.end());
    if (any || second == Second::replaces) Versions<Rows>::add(after, {row});
    if (any || second == Second::first_stays) Versions<Rows>::add(after, old);
    if (any || second == Second::both) Versions<Rows>::add(after, both);
  }
  return after;
}

}  // namespace

void Model::took(const Call &call, const Answer &answer, int64_t now) {
  ++calls_;
  if (call.op == Op::modify_object) return took_changes(call, answer, now);
  if (has_values(call.op)) return took_writes(call, answer, now);
  if (call.op != Op::get_history_byid && call.op != Op::get_history_byname) return;
  for (const auto &[key, given] : answer) {
    if (key.item != kRow) continue;
    ModelObject *point = world_.find(call.entries[key.entry - 1].who);
    if (point == nullptr || !point->history.contains(key.time)) continue;
    point->history.at(key.time).rows.seen(call.session);
  }
}

void Model::took_writes(const Call &call, const Answer &answer, int64_t now) {
  const bool of_one = rows_of_one(call.op);
  for (size_t i = 1; i <= call.entries.size(); ++i) {
    const Entry &entry = call.entries[i - 1];
    const bool acknowledged = done(answer, of_one ? 1 : i);
    if (!acknowledged && ground_.ways.bundled) continue;
    take_row(call, entry, of_one ? call.who : entry.who, acknowledged, now);
  }
}

void Model::take_row(const Call &call, const Entry &entry, const Target &who, bool done,
                     int64_t now) {
  ModelObject *point = world_.find(who);
  if (point == nullptr || point->life == Life::absent) return;
  const Ways &ways = ground_.ways;
  const Row row{entry.status, entry.value};
  const int32_t time = has_times(call.op) ? entry.time : call.time;
  Known becomes = Known::yes;
  if (call.op == Op::write_snap) {
    becomes = ways.snap_in_history;
    store(point->snapshots[time], call, row, done, now);
  } else if (call.op == Op::write_value) {
    becomes = ways.value_in_history;
    const bool doubtful = !ways.bundled && !is_newest(*point, time);
    if (doubtful && becomes == Known::yes) becomes = Known::unknown;
    set_current(*point, {time, row}, done, now);
  } else if (call.op == Op::write_cache || call.op == Op::write_cache_one) {
    becomes = ways.cache_in_history;
  }
  if (done && !unusual_time(ground_, time)) taken_.insert(call.op);
  Cell &cell = point->history[time];
  store(cell, call, row, done, now);
  // Where it does not become history now, it may do so later, or touch what is written at its time.
  if (becomes != Known::yes) cell.rows.lose();
}

void Model::store(Cell &cell, const Call &call, const Row &row, bool done, int64_t now) {
  const Second second = second_of(ground_.ways, cell, call.op, cell.call == calls_);
  const std::vector<Rows> after = written_over(cell.rows.good(), row, second);
  cell.mixed = cell.mixed || (cell.call >= 0 && writer(cell.by) != writer(call.op));
  cell.by = call.op;
  cell.call = calls_;
  if (cell.rows.good().empty()) return;
  if (done) cell.rows.become(after, now);
  if (!done) cell.rows.perhaps(after, now);
}

void Model::set_current(ModelObject &point, const Current &fresh, bool done, int64_t now) {
  std::vector<std::optional<Current>> after;
  using All = Versions<std::optional<Current>>;
  for (const auto &old : point.current.good()) {
    Known replaces = Known::yes;
    if (old && fresh.time < old->time) replaces = ground_.ways.older_replaces;
    if (old && fresh.time == old->time) replaces = ground_.ways.equal_replaces;
    if (replaces != Known::no) All::add(after, fresh);
    if (replaces != Known::yes) All::add(after, old);
  }
  if (point.current.good().empty()) return;
  if (done) point.current.become(after, now);
  if (!done) point.current.perhaps(after, now);
}

void Model::took_changes(const Call &call, const Answer &answer, int64_t now) {
  for (size_t i = 1; i <= call.entries.size(); ++i) {
    const Entry &entry = call.entries[i - 1];
    bool acknowledged = done(answer, i);
    if (!acknowledged && ground_.ways.bundled) continue;
    const auto same = [&](const Entry &other) { return other.who == entry.who; };
    const bool twice = std::count_if(call.entries.begin(), call.entries.end(), same) > 1;
    if (twice && call.change == Update && !ground_.ways.bundled) acknowledged = false;
    change(call, entry, acknowledged, now);
    // Of a call that failed as a whole nobody knows how far it came.
    const bool whole = says(answer, {0, kResult}, kFailed);
    if (whole && call.change == Insert) unsure(entry.who);
  }
}

void Model::unsure(const Target &who) {
  ModelObject *object = world_.find(who);
  if (object != nullptr && object->life == Life::absent) object->life = Life::unsure;
}

void Model::change(const Call &call, const Entry &entry, bool done, int64_t now) {
  if (call.change == Insert) return insert(entry, done, now);
  if (call.change == Delete) return erase(entry, done, now);
  ModelObject *object = world_.find(entry.who);
  if (object != nullptr && object->life != Life::absent) set_fields(*object, entry, done, now);
}

// A refused insertion leaves what is there alone; where nothing is, it may have been done in part.
void Model::insert(const Entry &entry, bool done, int64_t now) {
  const Target &who = entry.who;
  ModelObject &node = world_.nodes[who.node];
  if (!done && world_.life(who) == Life::present) return;
  if (!done && !who.is_node() && node.life == Life::absent) return;
  ModelObject &object = who.is_node() ? node : world_.points[who.node][who.name];
  const int lives = object.lives + 1;
  object = ModelObject{};
  object.lives = lives;
  object.life = done ? Life::present : Life::absent;
  object.changed = now;
  object.kind = who.is_node() ? KindNode : entry.kind;
  object.fields.emplace("ED", Versions<std::string>(""));
  for (const char *code : {"FQ", "AR", "IV", "HW"}) {
    object.fields.emplace(code, Versions<std::string>("0"));
  }
  for (const Field &field : entry.fields) {
    object.fields.insert_or_assign(field.code, Versions<std::string>(value_of(field)));
  }
}

void Model::erase(const Entry &entry, bool done, int64_t now) {
  ModelObject *object = world_.find(entry.who);
  if (object == nullptr || object->life == Life::absent) return;
  if (!done) return;  // refused, for whatever reason
  object->life = Life::absent;
  object->changed = now;
  if (!entry.who.is_node()) return;
  for (auto &[name, point] : world_.points[entry.who.node]) {
    if (point.life == Life::absent) continue;
    point.life = Life::absent;
    point.changed = now;
  }
}

void Model::set_fields(ModelObject &object, const Entry &entry, bool done, int64_t now) {
  for (const Field &field : entry.fields) {
    Versions<std::string> &versions = object.fields.at(field.code);
    const std::string next = value_of(field);
    if (done) versions.become({next}, now);
    if (!done) versions.perhaps({next}, now);
  }
}

}  // namespace kelpcheck::explore
