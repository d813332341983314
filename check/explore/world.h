// What the model holds: nodes, points and their values. Instead of one value it holds a few: those
// that it may have for good, if it is not known what the server does or a call failed, and those
// that it may still have for a while, until a change has settled.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "explore/calls.h"

namespace kelpcheck::explore {

template <typename T>
class Versions {
 public:
  explicit Versions(T first) : good_{std::move(first)} {}

  const std::vector<T> &good() const { return good_; }  // empty: anything
  bool sure() const { return good_.size() == 1; }
  // What may still be read by a session, `settle` after the last change at most, and not any more
  // once it has read what is there for good.
  std::vector<T> early(int session, int64_t now, int64_t settle) const {
    const bool late = now >= changed_ + settle || (seen_ >> session & 1) != 0;
    return late ? std::vector<T>{} : early_;
  }
  bool unsettled(int64_t now, int64_t settle) const {
    return !early_.empty() && now < changed_ + settle;
  }
  // Any of these from now on.
  void become(std::vector<T> next, int64_t now) {
    if (now >= changed_ + kForgotten) early_.clear();
    for (const T &old : good_) add(early_, old);
    good_ = next.size() > kMost ? std::vector<T>{} : std::move(next);
    changed_ = now;
    seen_ = 0;
  }
  // What was, or any of these.
  void perhaps(const std::vector<T> &next, int64_t now) {
    if (good_.empty()) return;
    std::vector<T> both = good_;
    for (const T &version : next) add(both, version);
    become(std::move(both), now);
  }
  // Anything from now on.
  void lose() { good_.clear(); }
  void seen(int session) { seen_ |= 1U << session; }

  static void add(std::vector<T> &list, const T &version) {
    if (std::find(list.begin(), list.end(), version) == list.end()) list.push_back(version);
  }

 private:
  static constexpr size_t kMost = 12;
  static constexpr int64_t kForgotten = 60'000'000'000;  // longer than anything takes to settle

  std::vector<T> good_, early_;
  int64_t changed_ = 0;
  unsigned seen_ = 0;
};

struct Row {
  int16_t status = 0;
  double value = 0;
  auto operator<=>(const Row &) const = default;
};
using Rows = std::vector<Row>;  // at one time: none, one, or several of a server that keeps them

struct Cell {
  Versions<Rows> rows{Rows{}};
  Op by = Op::status;  // what wrote it last, and in which call
  int64_t call = -1;
  bool mixed = false;  // it was written in different ways
};

struct Current {
  int32_t time = 0;
  Row row;
  auto operator<=>(const Current &) const = default;
};

enum class Life { absent, present, unsure };

struct ModelObject {
  Life life = Life::absent;
  int64_t changed = INT64_MIN / 2;  // its life
  int lives = 0;
  int32_t kind = KindNode;
  std::map<std::string, Versions<std::string>> fields;
  // Of points:
  Versions<std::optional<Current>> current{std::nullopt};
  std::map<int32_t, Cell> history;
  std::map<int32_t, Cell> snapshots;
};

struct World {
  ModelObject nodes[kNodes];
  std::map<std::string, ModelObject> points[kNodes];

  // Null where there never was one.
  ModelObject *find(const Target &target);
  const ModelObject *find(const Target &target) const {
    return const_cast<World *>(this)->find(target);
  }
  // Strangers are unsure.
  Life life(const Target &target) const;
};

}  // namespace kelpcheck::explore
