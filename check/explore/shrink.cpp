#include "explore/shrink.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace kelpcheck::explore {

namespace {

class Shrinker {
 public:
  Shrinker(Sequence sequence, int32_t base, const std::function<bool(const Sequence &)> &fails,
           const std::function<bool()> &enough)
      : best_(std::move(sequence)), base_(base), fails_(fails), enough_(enough) {}

  // Whatever makes it smaller may let something else do so.
  Sequence work() {
    do {
      changed_ = false;
      drop_calls();
      for (size_t i = 0; i < best_.size(); ++i) drop_entries(i);
      plain_places();
      plain_calls();
      plain_times();
      plain_values();
    } while (changed_ && !enough_());
    return best_;
  }

 private:
  bool take(Sequence candidate) {
    if (enough_() || !fails_(candidate)) return false;
    best_ = std::move(candidate);
    changed_ = true;
    return true;
  }
  // Tries a change of the best sequence so far.
  template <typename Change>
  bool attempt(Change &&change) {
    Sequence candidate = best_;
    return change(candidate) && take(std::move(candidate));
  }

  // Leaves out pieces of a list, halves first, then smaller ones, from its end on.
  template <typename List, typename Of>
  void drop_pieces(Of &&list_of) {
    for (size_t piece = std::max<size_t>(1, list_of(best_).size() / 2); piece > 0; piece /= 2) {
      for (size_t end = list_of(best_).size(); end > 0;) {
        const size_t begin = end > piece ? end - piece : 0;
        attempt([&](Sequence &candidate) {
          List &list = list_of(candidate);
          list.erase(list.begin() + begin, list.begin() + std::min(end, list.size()));
          return true;
        });
        end = std::min(begin, list_of(best_).size());
      }
    }
  }

  void drop_calls() {
    drop_pieces<Sequence>([](Sequence &sequence) -> Sequence & { return sequence; });
  }

  void drop_entries(size_t call) {
    drop_pieces<std::vector<Entry>>(
        [call](Sequence &sequence) -> std::vector<Entry> & { return sequence[call].entries; });
  }

  // Everything under one node, and by names that are plain.
  void plain_places() {
    attempt([](Sequence &sequence) {
      bool other = false;
      for_targets(sequence, [&](Target &who) {
        other = other || who.node == 1;
        if (who.node == 1) who.node = 0;
      });
      for (Call &call : sequence) {
        if (call.node == 1) call.node = 0;
      }
      return other;
    });
    std::set<std::string> names;
    for_targets(best_, [&](Target &who) { names.insert(who.name); });
    names.erase("");
    for (const std::string &name : names) {
      const std::string plain = unused(names);
      if (name.size() <= plain.size() && name <= plain) continue;
      attempt([&](Sequence &sequence) {
        for_targets(sequence, [&](Target &who) {
          if (who.name == name) who.name = plain;
        });
        return true;
      });
    }
  }

  static std::string unused(const std::set<std::string> &names) {
    for (int i = 1;; ++i) {
      std::string name = "P" + std::to_string(i);
      if (!names.contains(name)) return name;
    }
  }

  template <typename Change>
  static void for_targets(Sequence &sequence, Change &&change) {
    for (Call &call : sequence) {
      change(call.who);
      for (Entry &entry : call.entries) change(entry.who);
    }
  }

  void plain_calls() {
    for (size_t i = 0; i < best_.size(); ++i) {
      attempt([i](Sequence &s) { return std::exchange(s[i].session, 0) != 0; });
      attempt([i](Sequence &s) { return std::exchange(s[i].via, Via::name) != Via::name; });
      attempt([i](Sequence &s) { return std::exchange(s[i].interval, 0) != 0; });
      for (size_t k = 0; k < best_[i].entries.size(); ++k) {
        attempt([=](Sequence &s) {
          Entry &entry = s[i].entries[k];
          const bool had = !entry.fields.empty();
          entry.fields.clear();
          return had;
        });
        attempt([=](Sequence &s) {
          int32_t &kind = s[i].entries[k].kind;
          return kind != KindNode && std::exchange(kind, AX) != AX;
        });
      }
    }
  }

  // Each time that occurs, wherever it does, becomes one of the first plain ones.
  void plain_times() {
    std::set<int32_t> times;
    for_times(best_, [&](int32_t &time) { times.insert(time); });
    int32_t next = base_;
    for (const int32_t time : times) {
      if (time >= base_ && time < base_ + kPlain) {
        next = std::max(next, time + 1);
        continue;
      }
      const bool done = attempt([&](Sequence &sequence) {
        for_times(sequence, [&](int32_t &t) {
          if (t == time) t = next;
        });
        return true;
      });
      if (done) ++next;
    }
  }

  template <typename Change>
  static void for_times(Sequence &sequence, Change &&change) {
    for (Call &call : sequence) {
      const bool range = call.op == Op::get_history_byid || call.op == Op::get_history_byname;
      const bool one = call.op == Op::write_value || call.op == Op::write_snap ||
                       call.op == Op::get_snap_byid || call.op == Op::get_snap_byname;
      if (one) change(call.time);
      if (range) {
        change(call.begin);
        change(call.end);
      }
      if (!has_times(call.op)) continue;
      for (Entry &entry : call.entries) change(entry.time);
    }
  }

  void plain_values() {
    for (size_t i = 0; i < best_.size(); ++i) {
      if (!has_values(best_[i].op)) continue;
      for (size_t k = 0; k < best_[i].entries.size(); ++k) {
        attempt([=](Sequence &s) { return std::exchange(s[i].entries[k].status, 0) != 0; });
        for (const double plain : {1.0, 0.0}) {
          const double value = best_[i].entries[k].value;
          if (value == 0 || value == 1) break;
          attempt([=](Sequence &s) {
            s[i].entries[k].value = plain;
            return true;
          });
        }
      }
    }
  }

  static constexpr int32_t kPlain = 100;

  Sequence best_;
  int32_t base_;
  const std::function<bool(const Sequence &)> &fails_;
  const std::function<bool()> &enough_;
  bool changed_ = false;
};

}  // namespace

Sequence shrink(Sequence sequence, int32_t base, const std::function<bool(const Sequence &)> &fails,
                const std::function<bool()> &enough) {
  return Shrinker(std::move(sequence), base, fails, enough).work();
}

}  // namespace kelpcheck::explore
