// Nodes and points: what can be inserted, found, listed and deleted, and what goes with it.
#include <set>

#include "contract.h"

namespace kelptest {

TEST_P(Contract, OnlyPointsHaveIds) {
  const Ids ids = connection_.make_points(2);
  EXPECT_EQ(connection_.ids_of({"W3.N.P1", "W3.N.none", "W3.N", "", "W3.N.P0"}),
            (Ids{ids[1], 0, 0, 0, ids[0]}));
}

TEST_P(Contract, ObjectsOfOneCallSucceedAndFailAlone) {
  connection_.make_points(2);
  const Object first = connection_.new_object("A", R8);
  const Object there = connection_.new_object("P0", R8);
  const Object twice = connection_.new_object("A", DX);
  const Object last = connection_.new_object("B", I2);
  for (const int32_t operation : {Insert, Update, Delete}) {
    const Codes errors = connection_.modify(
        operation, "W3.N", {first.get(), there.get(), nullptr, twice.get(), last.get()});
    for (const size_t done : {0, 4}) EXPECT_EQ(errors[done], 0) << operation;
    for (const size_t refused : {1, 2, 3}) EXPECT_NE(errors[refused], 0) << operation;
    EXPECT_EQ(connection_.children("W3.N"),
              operation == Delete ? Names({"P0", "P1"}) : Names({"P0", "P1", "A", "B"}));
  }
}

TEST_P(Contract, ObjectsLieInContainersOfTheirKindUnderNamesOfTheirOwn) {
  connection_.make_points(1);
  const struct {
    const char *parent, *name;
    int32_t kind;
  } refused[] = {{"W3", "N", KindNode}, {"W3.N", "P0", I4}, {"none", "M", KindNode},
                 {"W3.N.P0", "M", AX},  {"W3", "M", AX},    {"W3.N", "M", KindNode}};
  for (const auto &[parent, name, kind] : refused) {
    EXPECT_NE(connection_.insert(parent, name, kind), 0) << parent << ' ' << name;
  }
  EXPECT_EQ(connection_.children("W3.N"), Names{"P0"});
  EXPECT_EQ(connection_.object("W3.M"), nullptr);
  EXPECT_EQ(connection_.object("none.M"), nullptr);
}

TEST_P(Contract, NamesAndKindsThatCannotBeMakeNoObject) {
  EXPECT_EQ(connection_.new_object("M", 17), nullptr);
  EXPECT_EQ(connection_.new_object("", AX), nullptr);
  EXPECT_EQ(connection_.new_object("A.B", AX), nullptr);
}

TEST_P(Contract, ARefusedChangeTakesNothingAway) {
  const int32_t id = connection_.make_points(1)[0];
  const Row row{100, 1, 2.5};
  EXPECT_EQ(connection_.write_value({id}, {row}), Codes{0});
  EXPECT_NE(connection_.erase("W3", "N"), 0);  // which is not empty
  const Object point = connection_.object("W3.N.P0");
  for (const int32_t operation : {Update, Delete}) {  // under another parent
    EXPECT_NE(connection_.modify(operation, "W3", {point.get()}), Codes{0}) << operation;
  }
  EXPECT_EQ(connection_.children("W3.N"), Names{"P0"});
  EXPECT_EQ(connection_.history(id), Rows{row});
  EXPECT_EQ(value_of(id), row);
}

// Not every caller compares the result with the count.
TEST_P(Contract, AChangeThatFailsAsAWholeFailsInItsEntriesToo) {
  connection_.make_points(1);
  const Object point = connection_.object("W3.N.P0");
  constexpr int32_t no_operation = 4;
  EXPECT_NE(connection_.modify(no_operation, "W3.N", {point.get()}), Codes{0});
  EXPECT_NE(Connection().modify(Delete, "W3.N", {point.get()}), Codes{0});
  EXPECT_EQ(connection_.children("W3.N"), Names{"P0"});
}

TEST_P(Contract, HistoryGoesWithItsPointAndIdsAreNeverReused) {
  std::set<int32_t> gone;
  for (int round = 0; round < 3; ++round) {
    for (const int32_t id : connection_.make_points(2)) {
      EXPECT_TRUE(gone.insert(id).second);
      EXPECT_EQ(connection_.history(id), Rows());
      EXPECT_EQ(value_of(id), std::nullopt);
      for (const Way &way : kWays) EXPECT_EQ(way.write(connection_, id, {{100, 1, 2.5}}), 0);
    }
    EXPECT_EQ(connection_.erase("W3.N", "P0"), 0);
    EXPECT_EQ(connection_.erase("W3.N", "P1"), 0);
    EXPECT_EQ(connection_.erase("W3", "N"), 0);
  }
}

// A connection may remember which points it has seen.
TEST_P(Contract, APointDeletedByOthersIsGoneAtOnce) {
  const Connection other(login_);
  for (const Way &way : kWays) {
    SCOPED_TRACE(way.name);
    const int32_t id = connection_.make_points(1)[0];
    EXPECT_EQ(way.write(connection_, id, {{100, 1, 2.5}}), 0);
    EXPECT_EQ(other.erase("W3.N", "P0"), 0);
    EXPECT_NE(way.write(connection_, id, {{200, 1, 2.5}}), 0);
    EXPECT_EQ(connection_.query({id}, HistoryTimed)[0], nullptr);
    EXPECT_EQ(other.erase("W3", "N"), 0);
  }
}

}  // namespace kelptest
