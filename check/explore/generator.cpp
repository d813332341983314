#include "explore/generator.h"

#include <algorithm>

#include "explore/edges.h"

namespace kelpcheck::explore {

namespace {

struct Point {
  int node;
  std::string name;
  int32_t kind;
  bool there = false;
  bool was_deleted = false;
};

class Maker {
 public:
  Maker(const Material &material, uint64_t number)
      : material_(material), random_(material.seed * 1'000'003 + number) {
    random_.next();
  }

  Sequence make(uint64_t number) {
    choose_times();
    insert_node(0);
    if (random_.chance(60)) insert_node(1);
    add_points(2 + random_.below(4));
    // Short ones first; later a long one now and then.
    size_t calls = 15 + random_.below(30);
    if (number % 8 == 7) calls *= 5;
    while (calls-- > 0) add_something();
    look_at_all();
    return std::move(sequence_);
  }

 private:
  void choose_times() {
    const size_t count = 6 + random_.below(8);
    for (size_t i = 0; i < count; ++i) {
      const int32_t edge = random_.of(kEdges);
      const bool near = random_.chance(70) || (edge < 0 && !material_.before_1970);
      times_.push_back(near ? material_.base + random_.of(kNear) : edge);
    }
  }

  int32_t time() { return random_.of(times_); }

  // A begin or an end, at a time or beside it.
  int32_t bound() {
    const int64_t beside = time() + static_cast<int64_t>(random_.below(3)) - 1;
    return static_cast<int32_t>(std::clamp<int64_t>(beside, INT32_MIN, INT32_MAX));
  }

  Call &add(Op op) {
    sequence_.push_back({op, random_.chance(25) ? 1 : 0});
    return sequence_.back();
  }

  std::vector<Field> some_fields() {
    std::vector<Field> fields;
    if (random_.chance(60)) fields.push_back({"ED", random_.of(kTexts)});
    if (random_.chance(30)) fields.push_back({"IV", "", value_of(random_, R8)});
    for (const char *code : {"HW", "FQ", "AR"}) {
      if (random_.chance(20)) fields.push_back({code, "", value_of(random_, I4)});
    }
    return fields;
  }

  Call &change(ModifyOperation operation, int parent) {
    Call &call = add(Op::modify_object);
    call.change = operation;
    call.node = parent;
    const Via ways[] = {Via::name, Via::id, Via::list};
    call.via = parent == kDatabase ? Via::name : random_.of(ways);
    return call;
  }

  void insert_node(int node) {
    Entry entry{{Target::own, node, ""}};
    entry.kind = KindNode;
    entry.fields = some_fields();
    change(Insert, kDatabase).entries.push_back(entry);
    if (node == 0) sequence_.back().session = 0;
    nodes_ = std::max(nodes_, node + 1);
  }

  Point &new_point() {
    const bool odd = material_.odd_names && random_.chance(25);
    const std::string name = odd ? random_.of(kOddNames) : random_.of(kPlainNames);
    const auto node = static_cast<int>(random_.below(nodes_));
    for (Point &point : points_) {
      if (point.node == node && point.name == name) return point;
    }
    points_.push_back({node, name, AX});
    return points_.back();
  }

  void add_points(size_t count) {
    for (int node = 0; node < nodes_; ++node) {
      if (node > 0 && random_.chance(30)) continue;
      Call call{Op::modify_object};
      call.node = node;
      for (size_t i = 0; i < count; ++i) {
        Point &point = new_point();
        if (point.node != node || (point.there && !random_.chance(10))) continue;
        const int32_t kinds[] = {AX, DX, I2, I4, R8};
        if (!point.there) point.kind = random_.of(kinds);
        Entry entry{{Target::own, node, point.name}};
        entry.kind = point.kind;
        entry.fields = some_fields();
        call.entries.push_back(entry);
        point.there = true;
      }
      if (!call.entries.empty()) sequence_.push_back(call);
    }
  }

  // A point that is there, most of the time; null while there is none.
  const Point *some_point() {
    std::vector<const Point *> there;
    for (const Point &point : points_) {
      if (point.there) there.push_back(&point);
    }
    return there.empty() ? nullptr : random_.of(there);
  }

  Target target(const Point &point) const { return {Target::own, point.node, point.name}; }

  // Something that is not there, or not ours.
  Target missing(Op op, bool reads) {
    const Point &point = random_.of(points_);
    if (!by_name(op)) {
      const int32_t strangers[] = {0, -1, INT32_MAX, INT32_MIN};
      if (reads && random_.chance(40)) return {Target::stranger, 0, "", random_.of(strangers)};
      return {Target::former, point.node, point.name};
    }
    if (reads && random_.chance(30)) return {Target::elsewhere, point.node, point.name};
    if (reads && random_.chance(15)) return {Target::bare, point.node, point.name};
    if (!point.there && random_.chance(60)) return target(point);
    return {Target::own, point.node, kNobody};
  }

  void fill(Entry &entry, const Point &point) {
    entry.status = random_.of(kStatuses);
    entry.value = value_of(random_, point.kind);
    entry.time = time();
  }

  // Entries for several points, now and then with one twice, a missing one, or none at all.
  void several(Call &call, bool reads) {
    if (points_.empty() || random_.chance(2)) return;
    size_t count = 1 + random_.below(4);
    const bool gaps = random_.chance(20);
    while (count-- > 0) {
      const Point *point = some_point();
      if (point == nullptr) return;
      Entry entry{target(*point)};
      if (gaps && random_.chance(50)) entry.who = missing(call.op, reads);
      if (entry.who.sort == Target::former && !was_deleted(entry.who)) continue;
      fill(entry, *point);
      if (call.op == Op::get_history_byid || call.op == Op::get_history_byname) {
        entry.mode = random_.chance(25) ? HistoryStatistics : HistoryTimed;
      }
      call.entries.push_back(entry);
    }
  }

  bool was_deleted(const Target &who) const {
    return std::any_of(points_.begin(), points_.end(), [&](const Point &point) {
      return point.node == who.node && point.name == who.name && point.was_deleted;
    });
  }

  void write_rows(Op op) {
    const Point *point = some_point();
    if (point == nullptr) return;
    Call &call = add(op);
    call.who = target(*point);
    if (op == Op::write_histroy_byname && random_.chance(5)) call.who.name = kNobody;
    size_t rows = random_.chance(3) ? 0 : 1 + random_.below(5);
    const size_t many[] = {100, 127, 128, 129, 255, 256, 257};
    if (random_.chance(2)) rows = random_.of(many);
    const auto most = static_cast<size_t>(material_.rows_per_call);
    if (most > 0) rows = std::min(rows, most);
    const bool ramp = rows > 5;
    for (size_t i = 0; i < rows; ++i) {
      Entry entry;
      fill(entry, *point);
      if (ramp) entry.time = material_.base + static_cast<int32_t>(i);
      call.entries.push_back(entry);
    }
  }

  // The same time of the same point again and again.
  void overwrite() {
    const Point *point = some_point();
    if (point == nullptr) return;
    const Op ops[] = {Op::write_histroy_byid, Op::write_histroy_byname, Op::write_cache_one,
                      Op::write_value, Op::write_snap};
    const Op op = random_.of(ops);
    const int32_t at = time();
    for (size_t again = 2 + random_.below(3); again > 0; --again) {
      Call &call = add(random_.chance(80) ? op : random_.of(ops));
      call.who = target(*point);
      call.time = at;
      call.entries = {{call.who}};
      fill(call.entries[0], *point);
      call.entries[0].time = at;
    }
    Call &look = add(Op::get_history_byid);
    look.begin = at;
    look.end = at < INT32_MAX ? at + 1 : at;
    look.entries = {{target(*point)}};
  }

  void write_many(Op op) {
    Call &call = add(op);
    call.time = time();
    several(call, false);
  }

  void read_many(Op op) {
    Call &call = add(op);
    call.time = bound();
    several(call, true);
  }

  void read_history(Op op) {
    Call &call = add(op);
    choose_range(call);
    several(call, true);
  }

  void choose_range(Call &call) {
    call.begin = bound();
    call.end = bound();
    if (call.begin > call.end && !random_.chance(15)) std::swap(call.begin, call.end);
    if (random_.chance(20)) call.end = INT32_MAX;
    if (random_.chance(10)) call.begin = INT32_MIN;
    const int32_t steps[] = {0, 1, 10, 60, 3600, 86400, INT32_MAX, -1};
    call.interval = random_.of(steps);
    // Rows over a long range in small steps may be many, where empty intervals have one.
    if (int64_t{call.end} - call.begin > int64_t{call.interval} * 10'000) call.interval = 0;
  }

  void update() {
    const Point *point = some_point();
    if (point == nullptr) return;
    const bool node = random_.chance(25);
    Call &call = change(Update, node ? kDatabase : point->node);
    size_t count = node ? 1 : 1 + random_.below(3);
    while (count-- > 0) {
      const Point *other = some_point();
      if (other->node != point->node) continue;
      Entry entry{{Target::own, point->node, node ? "" : other->name}};
      entry.fields = some_fields();
      call.entries.push_back(entry);
    }
  }

  // Of some points all go, now and then with one that is gone already.
  void erase() {
    const Point *first = some_point();
    if (first == nullptr) return;
    const int node = first->node;
    Call &call = change(Delete, node);
    for (Point &point : points_) {
      if (point.node != node || !random_.chance(&point == first ? 100 : 20)) continue;
      call.entries.push_back({target(point)});
      point.was_deleted = point.was_deleted || point.there;
      point.there = false;
    }
    if (random_.chance(10)) call.entries.push_back(call.entries[0]);
    if (random_.chance(50)) add_points(2);
  }

  // A whole node, empty or not.
  void erase_node() {
    const auto node = static_cast<int>(random_.below(nodes_));
    if (random_.chance(70)) erase_points(node);
    change(Delete, kDatabase).entries.push_back({{Target::own, node, ""}});
    if (!has_points(node)) {
      insert_node(node);
      if (random_.chance(70)) add_points(2);
    }
  }

  bool has_points(int node) const {
    return std::any_of(points_.begin(), points_.end(),
                       [&](const Point &point) { return point.node == node && point.there; });
  }

  void erase_points(int node) {
    if (!has_points(node)) return;
    Call &call = change(Delete, node);
    for (Point &point : points_) {
      if (point.node != node || !point.there) continue;
      call.entries.push_back({target(point)});
      point.there = false;
      point.was_deleted = true;
    }
  }

  void small_talk() {
    const Op ops[] = {Op::status, Op::get_system_time, Op::get_database, Op::decode_time, Op::init};
    Call &call = add(random_.of(ops));
    call.time = random_.chance(50) ? random_.of(kEdges) : bound();
  }

  void list() {
    Call &call = add(Op::get_child);
    call.node = static_cast<int>(random_.below(nodes_));
  }

  void add_something() {
    const size_t what = random_.below(100);
    if (what < 14)
      return write_rows(random_.chance(60) ? Op::write_histroy_byid : Op::write_histroy_byname);
    if (what < 24) return write_many(Op::write_value);
    if (what < 32) return write_many(Op::write_snap);
    if (what < 36) return write_many(Op::write_cache);
    if (what < 40) return write_rows(Op::write_cache_one);
    if (what < 50) return read_history(Op::get_history_byid);
    if (what < 58) return read_history(Op::get_history_byname);
    if (what < 62) return read_many(Op::get_value_byid);
    if (what < 66) return read_many(Op::get_value_byname);
    if (what < 70) return read_many(Op::get_snap_byid);
    if (what < 74) return read_many(Op::get_snap_byname);
    if (what < 76) return read_many(Op::get_object_byid);
    if (what < 79) return read_many(Op::get_object_byname);
    if (what < 81) return read_many(Op::get_id_byname);
    if (what < 83) return list();
    if (what < 88) return update();
    if (what < 92) return erase();
    if (what < 94) return erase_node();
    if (what < 96) return add_points(1 + random_.below(3));
    if (what < 98) return overwrite();
    small_talk();
  }

  // At the end everything is looked at, in one way and the other.
  void look_at_all() {
    for (const Op op : {Op::get_history_byid, Op::get_history_byname, Op::get_value_byid,
                        Op::get_object_byname, Op::get_id_byname}) {
      Call call{op, by_name(op) ? 1 : 0};
      const auto [first, last] = std::minmax_element(times_.begin(), times_.end());
      call.begin = std::min(*first, material_.base);
      call.end = std::max(*last, material_.base + 1000);
      if (call.end < INT32_MAX) ++call.end;
      for (const Point &point : points_) {
        if (point.there) call.entries.push_back({target(point)});
      }
      if (!call.entries.empty()) sequence_.push_back(call);
    }
    for (int node = 0; node < nodes_; ++node) {
      Call call{Op::get_child, node};
      call.node = node;
      sequence_.push_back(call);
    }
  }

  const Material &material_;
  Random random_;
  Sequence sequence_;
  std::vector<int32_t> times_;
  std::vector<Point> points_;
  int nodes_ = 0;
};

}  // namespace

Sequence make_sequence(const Material &material, uint64_t number) {
  return Maker(material, number).make(number);
}

}  // namespace kelpcheck::explore
