// The calls of a player that read, and what they gave.
#include <algorithm>

#include "explore/player.h"
#include "explore/summary.h"

namespace kelpcheck::explore {

void Player::read_points(const Call &call, Answer &answer) {
  switch (call.op) {
    case Op::get_value_byid:
    case Op::get_value_byname:
    case Op::get_snap_byid:
    case Op::get_snap_byname: return read_values(call, answer);
    case Op::get_history_byid:
    case Op::get_history_byname: return read_history(call, answer);
    case Op::get_object_byid:
    case Op::get_object_byname: return read_objects(call, answer);
    default: return read_other(call, answer);
  }
}

void Player::read_values(const Call &call, Answer &answer) {
  const bool snap = reads_snapshots(call.op);
  const Session &s = session(call.session);
  const Readings read = snap ? s.snap(who(call), call.time) : s.values(who(call));
  for (size_t i = 0; i < call.entries.size(); ++i) {
    answer[{i + 1, kEntry}] = how(read.errors[i] == 0);
    const std::string row = row_text(read.statuses[i], read.values[i]);
    answer[{i + 1, "value"}] = snap ? row : text(read.times[i], " ", row);
  }
}

void Player::read_objects(const Call &call, Answer &answer) {
  const Objects objects = session(call.session).objects(who(call));
  for (size_t i = 0; i < call.entries.size(); ++i) {
    const Target &who = call.entries[i].who;
    bool there = objects.errors[i] == 0;
    const std::string name = there ? get_text(objects[i], "PN") : "";
    // The id of a point that is gone may be another one's by now.
    if (who.sort == Target::former) there = there && name == who.name;
    answer[{i + 1, kEntry}] = how(there);
    if (!there || who.sort != Target::own) continue;
    if (!who.is_node()) answer[{i + 1, "PN"}] = name;
    answer[{i + 1, "ED"}] = get_text(objects[i], "ED");
    answer[{i + 1, "IV"}] = exact(get_double(objects[i], "IV"));
    for (const char *code : {"FQ", "AR", "HW"}) {
      answer[{i + 1, code}] = std::to_string(get_int(objects[i], code));
    }
  }
}

void Player::read_history(const Call &call, Answer &answer) {
  std::vector<int32_t> modes;
  for (const Entry &entry : call.entries) modes.push_back(entry.mode);
  const History history =
      session(call.session).history(who(call), modes, call.begin, call.end, call.interval);
  for (size_t i = 0; i < call.entries.size(); ++i) {
    answer[{i + 1, kEntry}] = how(history.errors[i] == 0);
    answer[{i + 1, "fetching"}] = kDone;
    try {
      fetch(call, history, i, answer);
    } catch (const CallFailed &failure) {
      remark_ = failure.what();
      answer[{i + 1, "fetching"}] = kFailed;
    }
  }
}

void Player::fetch(const Call &call, const History &history, size_t result, Answer &answer) {
  const size_t entry = result + 1;
  const int32_t rows = history.rows(result);
  if (history.errors[result] != 0 && rows > 0) answer[{0, "rows of a failed entry"}] = "some";
  if (call.entries[result].mode == HistoryStatistics) {
    answer[{entry, "rows"}] = std::to_string(std::max(rows, 0));
    for (int32_t i = 1; i <= rows; ++i) {
      const StatValue row = history.next_statistics(result);
      const auto add = [&](const char *field, const std::string &value) {
        answer[{entry, statistics_item(i, field)}] = value;
      };
      add("time", std::to_string(row.time));
      add("status", std::to_string(row.status));
      add("maxtime", std::to_string(row.maxtime));
      add("mintime", std::to_string(row.mintime));
      for (const auto &[field, value] : {std::pair{"flow", row.flow},
                                         {"max", row.max},
                                         {"min", row.min},
                                         {"avg", row.avg},
                                         {"mean", row.mean},
                                         {"stdev", row.stdev}}) {
        add(field, exact(value));
      }
    }
    return;
  }
  std::map<int32_t, Rows> by_time;
  bool in_order = true;
  int32_t last = INT32_MIN;
  for (int32_t i = 0; i < rows; ++i) {
    const auto [time, status, value] = history.next(result);
    in_order = in_order && time >= last;
    last = time;
    by_time[time].push_back({status, value});
  }
  for (auto &[time, at] : by_time) {
    std::sort(at.begin(), at.end());
    answer[{entry, kRow, time}] = rows_text(at);
  }
  answer[{entry, "order of rows"}] = in_order ? "that of time" : "another";
}

void Player::read_other(const Call &call, Answer &answer) {
  switch (call.op) {
    case Op::status: answer[{0, kResult}] = how(session(call.session).status() == 0); return;
    case Op::get_system_time: session(call.session).time(); return;
    case Op::init:
      sessions_[call.session].reset();
      session(call.session);
      return;
    case Op::get_database: {
      const Objects databases = session(call.session).databases();
      int found = 0;
      for (size_t i = 0; i < databases.size(); ++i) {
        if (get_text(databases[i], "PN") == place_.database) ++found;
      }
      answer[{0, "the database in the list"}] = std::to_string(found);
      return;
    }
    case Op::get_child: {
      const Objects points = session(call.session).children(node_name(place_, call.node));
      std::vector<std::string> names;
      for (size_t i = 0; i < points.size(); ++i) names.push_back(get_text(points[i], "PN"));
      std::sort(names.begin(), names.end());
      answer[{1, kEntry}] = kDone;
      std::string &list = answer[{1, "points"}];
      for (const std::string &name : names) list += "[" + name + "]";
      return;
    }
    case Op::decode_time: {
      int32_t f[6] = {};
      c_.calls.checked<kelp2_decode_time>(1, call.time, f, f + 1, f + 2, f + 3, f + 4, f + 5);
      answer[{0, "fields"}] = text(f[0], "-", f[1], "-", f[2], " ", f[3], ":", f[4], ":", f[5]);
      answer[{0, "encoded again"}] =
          std::to_string(c_.calls.call<kelp2_encode_time>(1, f[0], f[1], f[2], f[3], f[4], f[5]));
      return;
    }
    default: {
      const Names names = names_of(call);
      const Ids ids = session(call.session).ids(names);
      for (size_t i = 0; i < names.size(); ++i) {
        const bool own = ids_.contains(names[i]) && ids_.at(names[i]) == ids[i];
        answer[{i + 1, kEntry}] = kDone;
        answer[{i + 1, "id"}] = own ? "its own" : "another";
      }
    }
  }
}

}  // namespace kelpcheck::explore
