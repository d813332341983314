#include "explore/player.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace kelpcheck::explore {

namespace {

// Pauses that grow, from a millisecond to a tenth of a second.
class Pause {
 public:
  void wait() {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds_));
    milliseconds_ = std::min(2 * milliseconds_, 100);
  }

 private:
  int milliseconds_ = 1;
};

}  // namespace

Player::Player(Context &c, const Place &place, const Ground &ground)
    : c_(c), place_(place), ground_(ground), model_(ground) {}

std::optional<Finding> Player::play(const Sequence &sequence,
                                    const std::function<bool(size_t)> &goes_on) {
  for (size_t i = 0; i < sequence.size(); ++i) {
    if (goes_on && !goes_on(i)) break;
    remark_.clear();
    waited_ = false;
    try {
      if (auto difference = perform(sequence[i])) return Finding{i, *difference, remark_, waited_};
    } catch (const NotPossible &) {
    } catch (const CallFailed &failure) {  // of what has to be done before and after a call
      return Finding{i, {{0, kResult}, {kDone}, kFailed}, failure.what()};
    }
  }
  return {};
}

std::optional<Difference> Player::perform(const Call &call) {
  if (auto difference = wait_for_ids(call)) return difference;
  Answer answer;
  auto difference = read_until_settled(call, answer);
  compared_ += static_cast<int64_t>(answer.size());
  if (difference) return difference;
  model_.took(call, answer, now_ns());
  if (call.op != Op::modify_object) return {};
  for (size_t i = 1; i <= call.entries.size(); ++i) {
    const Target &who = call.entries[i - 1].who;
    const std::string name = full_name(place_, who);
    const bool there = model_.world().life(who) == Life::present;
    if (!there && ids_.contains(name)) {
      former_[name] = ids_[name];
      ids_.erase(name);
    }
    if (!there || call.change != Insert || who.is_node()) continue;
    if (answer.at({0, kResult}) != kDone || answer.at({i, kEntry}) != kDone) continue;
    if (auto wrong = learn_id(call, i)) return wrong;
  }
  return {};
}

// Makes the call. A reading is repeated while it shows only what may still be there.
std::optional<Difference> Player::read_until_settled(const Call &call, Answer &answer) {
  const int64_t start = now_ns();
  Pause pause;
  while (true) {
    const int64_t asked = now_ns();
    const Evidence before = std::exchange(c_.evidence, {});
    answer = make(call);
    const Evidence around = std::exchange(c_.evidence, before);
    if (around.differences > 0) {
      return Difference{{0, around.where}, {around.expected}, around.got};
    }
    const auto difference = compare(model_.expect(call, asked), answer);
    if (!difference) {
      if (asked > start) longest_wait_ = std::max(longest_wait_, asked - start);
      return {};
    }
    if (!difference->early || writes(call)) return difference;
    waited_ = true;
    pause.wait();
  }
}

Session &Player::session(int number) {
  auto &session = sessions_[number];
  if (session != nullptr) return *session;
  try {
    session = std::make_unique<Session>(c_);
  } catch (const NoSession &) {
    // A server may have no second one for us.
    auto &other = sessions_[1 - number];
    if (other == nullptr || ground_.ways.bundled) throw;
    return *other;
  }
  return *session;
}

// A look-up by name, in the session of a call that needs ids, until it finds those that are known:
// points that the other session has just made may take a while to be seen.
std::optional<Difference> Player::wait_for_ids(const Call &call) {
  if (by_name(call.op) && call.op != Op::write_histroy_byname) return {};
  std::vector<Target> own;
  const auto add = [&](const Target &who) {
    const bool point = who.sort == Target::own && !who.is_node();
    if (point && model_.world().life(who) == Life::present) own.push_back(who);
  };
  const bool inserts = call.op == Op::modify_object && call.change == Insert;
  if (rows_of_one(call.op)) {
    add(call.who);
  } else if (!inserts) {
    for (const Entry &entry : call.entries) add(entry.who);
  }
  if (own.empty()) return {};
  Call look_up{Op::get_id_byname, call.session};
  for (const Target &who : own) look_up.entries.push_back({who});
  Answer answer;
  return read_until_settled(look_up, answer);
}

std::optional<Difference> Player::learn_id(const Call &call, size_t entry) {
  const Target &who = call.entries[entry - 1].who;
  const std::string name = full_name(place_, who);
  Pause pause;
  for (const int64_t start = now_ns();; pause.wait()) {
    const bool late = now_ns() - start >= ground_.settle;
    if (!is_there(call.session, Names{name})) {
      if (late) return Difference{{entry, "object, looked up by name"}, {kDone}, kFailed};
      continue;
    }
    const int32_t id = session(call.session).ids(Names{name})[0];
    const auto name_of_id = [&] {
      return get_text(session(call.session).objects(Ids{id})[0], "PN");
    };
    if (!is_there(call.session, Ids{id}) || name_of_id() != who.name) {
      if (late) return Difference{{entry, "id, looked up by name"}, {"its own"}, "another"};
      continue;
    }
    for (const auto &[other, taken] : ids_) {
      if (taken == id && other != name) return Difference{{entry, "id"}, {"its own"}, other + "'s"};
    }
    ids_[name] = id;
    const int64_t took = now_ns() - start;
    if (took > 1'000'000'000) longest_wait_ = std::max(longest_wait_, took);
    return {};
  }
}

// A look-up that finds nothing may fail as a whole.
bool Player::is_there(int number, const Who &who) {
  try {
    return session(number).objects(who).errors[0] == 0;
  } catch (const NoSession &) {
    throw;
  } catch (const CallFailed &) {
    return false;
  }
}

int32_t Player::id_of(const Call &call, const Target &who) {
  if (who.sort == Target::stranger) return who.id;
  const std::string name = full_name(place_, {Target::own, who.node, who.name});
  if (who.sort == Target::own) {
    if (model_.world().life(who) != Life::present || !ids_.contains(name)) throw NotPossible();
    return ids_.at(name);
  }
  if (!former_.contains(name)) throw NotPossible();
  const int32_t id = former_.at(name);
  for (const auto &[other, taken] : ids_) {
    if (taken == id) throw NotPossible();
  }
  const bool asks = call.op == Op::get_object_byid;
  if (!asks && is_there(call.session, Ids{id})) throw NotPossible();
  return id;
}

Ids Player::ids_of(const Call &call) {
  Ids ids;
  for (const Entry &entry : call.entries) ids.push_back(id_of(call, entry.who));
  return ids;
}

Names Player::names_of(const Call &call) const {
  Names names;
  for (const Entry &entry : call.entries) names.push_back(full_name(place_, entry.who));
  return names;
}

Who Player::who(const Call &call) {
  return by_name(call.op) ? Who(names_of(call)) : Who(ids_of(call));
}

Answer Player::make(const Call &call) {
  Answer answer;
  answer[{0, kResult}] = kDone;
  try {
    if (call.op == Op::modify_object) {
      modify(call, answer);
    } else if (has_values(call.op)) {
      write(call, answer);
    } else {
      read_points(call, answer);
    }
  } catch (const CallFailed &failure) {
    remark_ = failure.what();
    answer[{0, kResult}] = kFailed;
  }
  return answer;
}

void Player::write(const Call &call, Answer &answer) {
  Columns rows;
  for (const Entry &entry : call.entries) rows.add({entry.time, entry.status, entry.value});
  const Session &s = session(call.session);
  const auto take = [&](const Out<int32_t> &errors) {
    for (size_t i = 0; i < errors.size(); ++i) answer[{i + 1, kEntry}] = how(errors[i] == 0);
  };
  switch (call.op) {
    case Op::write_value: return take(s.write_value(ids_of(call), call.time, rows));
    case Op::write_snap: return take(s.write_snap(ids_of(call), call.time, rows));
    case Op::write_cache: return take(s.write_cache(ids_of(call), rows));
    case Op::write_cache_one: return take(s.write_cache_one(id_of(call, call.who), rows));
    case Op::write_histroy_byid: return take(s.write_history(id_of(call, call.who), rows));
    default: return take(s.write_history(full_name(place_, call.who), rows));
  }
}

Objects Player::new_objects(const Call &call) {
  Objects objects(c_, 0);
  for (const Entry &entry : call.entries) {
    const int32_t kind = entry.who.is_node() ? KindNode : entry.kind;
    try {
      objects.add(session(call.session).new_object(own_name(place_, entry.who), kind));
    } catch (const CallFailed &) {
      // Some names are not for every server.
      if (ground_.ways.bundled || !unusual_name(entry.who.name)) throw;
      throw NotPossible();
    }
  }
  return objects;
}

// Objects to be changed: by name, or points that are there by id or from their node's list.
Objects Player::read_objects(const Call &call) {
  Session &s = session(call.session);
  const bool points = std::all_of(call.entries.begin(), call.entries.end(), [&](const Entry &e) {
    return !e.who.is_node() && model_.world().life(e.who) == Life::present;
  });
  if (call.via == Via::id && points) return s.objects(ids_of(call));
  return s.objects(names_of(call));
}

// But those that the server keeps nothing, or some values only, of.
void Player::set_fields(kelpcheck::Object object, const Entry &entry) {
  for (const Field &field : entry.fields) {
    if (!ground_.ways.keeps(field.code, entry.who.is_node())) continue;
    if (field.code == "IV") {
      set(object, "IV", field.number);
    } else if (field.code != "ED") {
      set(object, field.code.c_str(), static_cast<int32_t>(field.number));
    } else {
      try {
        set(object, "ED", field.text);
      } catch (const CallFailed &) {
        if (ground_.ways.bundled || !unusual_text(field.text)) throw;
        throw NotPossible();
      }
    }
  }
}

void Player::modify(const Call &call, Answer &answer) {
  const Session &s = session(call.session);
  Objects objects = call.change == Insert ? new_objects(call) : read_objects(call);
  std::vector<ObjectHandle> passed;
  for (size_t i = 0; i < objects.size(); ++i) {
    const Entry &entry = call.entries[i];
    const bool there = call.change == Insert || objects.errors[i] == 0;
    const std::string own = own_name(place_, entry.who);
    const std::string read = there ? get_text(objects[i], "PN") : own;
    if (read != own) {
      remark_ =
          text("nothing was changed: an object that was read has the name ", read, ", not ", own);
      answer[{i + 1, kObjectRead}] = "another";
      return;
    }
    if (there) set_fields(objects[i], entry);
    passed.push_back(objects[i]);
  }
  const Modified done =
      s.modify(call.change, node_name(place_, call.node), passed.size(), passed.data());
  if (done.count < 0) answer[{0, kResult}] = kFailed;
  int32_t zeros = 0;
  std::map<std::string, int> times;
  for (size_t i = 0; i < passed.size(); ++i) {
    const bool good = done.errors[i] == 0;
    int &count = times[call.entries[i].who.name];
    if (good) {
      ++zeros;
      ++count;
    }
    answer[{i + 1, kEntry}] = how(good);
  }
  for (const auto &[name, count] : times) {
    answer[{0, "times that " + name + " is done"}] = std::to_string(count);
  }
  std::string &number = answer[{0, "number of objects done"}];
  number = "as the entries say";
  if (zeros != done.count) number = text(done.count, ", with ", zeros, " entries 0");
}

void Player::clear() {
  for (const std::string &node : place_.nodes) {
    const std::string name = place_.database + "." + node;
    Session &s = session(0);
    if (!is_there(0, Names{name})) continue;
    {
      Objects points = s.children(name);
      if (points.size() > 0) s.modify(Delete, name, points);
    }
    Objects object = s.objects(Names{name});
    s.modify(Delete, place_.database, object);
  }
}

}  // namespace kelpcheck::explore
