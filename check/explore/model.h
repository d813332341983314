// A server in memory: says what a call may give, and takes in what a call has done. It calls
// nothing and knows no clock, so that it can be tested by itself and taken through any sequence.
#pragma once

#include <set>

#include "explore/answer.h"
#include "explore/ways.h"
#include "explore/world.h"

namespace kelpcheck::explore {

// What a model is told of its surroundings.
struct Ground {
  Ways ways;
  int32_t base = 1346432400;       // times within 30 days of it are taken by every server
  int64_t settle = 5'000'000'000;  // nanoseconds until what was acknowledged can be read
};

// Whether a server may refuse to store something because of this, openly.
bool unusual_time(const Ground &ground, int32_t time);
bool unusual_name(const std::string &name);
bool unusual_text(const std::string &text);

class Model {
 public:
  explicit Model(const Ground &ground) : ground_(ground) {}

  // What the call may give, `now` in nanoseconds.
  Expectation expect(const Call &call, int64_t now) const;
  // What it has done, going by what it gave; of a reading, what has thereby settled.
  void took(const Call &call, const Answer &answer, int64_t now);

  const World &world() const { return world_; }

 private:
  Allowed existence(const Target &target, int64_t now) const;
  Allowed write_entry(const Call &call, const Entry &entry, const Target &who, int64_t now) const;
  void expect_writes(const Call &call, int64_t now, Expectation &all) const;
  void expect_changes(const Call &call, int64_t now, Expectation &all) const;
  Allowed change_entry(const Call &call, const Entry &entry, int64_t now) const;
  void expect_readings(const Call &call, int64_t now, Expectation &all) const;
  void expect_value(const Call &call, size_t entry, int64_t now, Expectation &all) const;
  void expect_snap(const Call &call, size_t entry, int64_t now, Expectation &all) const;
  void expect_history(const Call &call, size_t entry, int64_t now, Expectation &all) const;
  void expect_object(const Call &call, size_t entry, int64_t now, Expectation &all) const;
  void expect_children(const Call &call, int64_t now, Expectation &all) const;
  void expect_result(const Call &call, Expectation &all) const;

  void took_writes(const Call &call, const Answer &answer, int64_t now);
  void took_changes(const Call &call, const Answer &answer, int64_t now);
  void take_row(const Call &call, const Entry &entry, const Target &who, bool done, int64_t now);
  void change(const Call &call, const Entry &entry, bool done, int64_t now);
  void insert(const Entry &entry, bool done, int64_t now);
  void erase(const Entry &entry, bool done, int64_t now);
  void set_fields(ModelObject &object, const Entry &entry, bool done, int64_t now);
  void store(Cell &cell, const Call &call, const Row &row, bool done, int64_t now);
  void unsure(const Target &who);
  void set_current(ModelObject &point, const Current &fresh, bool done, int64_t now);

  Ground ground_;
  World world_;
  std::set<Op> taken_;  // operations that have stored something at a plain time
  int64_t calls_ = 0;
};

}  // namespace kelpcheck::explore
