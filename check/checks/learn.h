// What the checks share that learn what a server does where the header leaves it open.
#pragma once

#include "checks/families.h"
#include "checks/ground.h"

namespace kelpcheck {

// Points of the bed by use; there are five kinds, a point of each in turn.
enum Use : size_t {
  kRanges = 0,
  kBegin = 1,
  kSecond = 5,
  kCurrent = 10,
  kMarker = 15,
  kOlder = 20,
  kSnapshot = 25,
  kBetween = 30,
  kCache = 45,
  kFields = 50
};

// A point and a time may occur more than once in a call; in another call they may be refused.
void read_refused(Bed &bed, Question question, const std::string &where,
                  const std::string &refusal);

// Whether rows of one way are in the history once rows written later are.
void read_in_history(Bed &bed, Question question, size_t point, const std::vector<Sample> &rows);

// The checks of the family.
void learn_snapshots(Bed &bed);
void learn_between(Bed &bed);
void learn_snapshots_of_others(Bed &bed);
void learn_second_snapshot(Bed &bed);
void learn_fields(Bed &bed);

}  // namespace kelpcheck
