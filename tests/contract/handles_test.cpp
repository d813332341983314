// Handles that are missing, and counts and arrays that cannot be.
#include "contract.h"

namespace kelptest {

namespace {

// What the calls are given: null where they are to have nothing.
struct Arrays {
  int32_t *numbers = nullptr;
  int16_t *statuses = nullptr;
  double *values = nullptr;
  ObjectHandle *objects = nullptr;
  ResultHandle *results = nullptr;
  int32_t *errors = nullptr;
  int32_t *error = nullptr;  // of a single point
};

using NamedResults = std::vector<std::pair<const char *, int32_t>>;

// The results of calls on so many entries, or on the names of a group.
NamedResults call_all(ConnectionHandle c, int32_t count, GroupHandle group, const Arrays &a) {
  return {
      {"modify_object", kelp2_modify_object(c, Insert, "W3", count, a.objects, a.errors)},
      {"object_byid", kelp2_get_object_byid(c, count, a.numbers, a.objects, a.errors)},
      {"write_value", kelp2_write_value(c, 0, count, a.numbers, 5, a.statuses, a.values, a.errors)},
      {"write_cache",
       kelp2_write_cache(c, 0, count, a.numbers, a.numbers, a.statuses, a.values, a.errors)},
      {"write_histroy_byid",
       kelp2_write_histroy_byid(c, 0, 1, count, a.numbers, a.statuses, a.values, a.error)},
      {"value_byid",
       kelp2_get_value_byid(c, count, a.numbers, a.numbers, a.statuses, a.values, a.errors)},
      {"history_byid",
       kelp2_get_history_byid(c, count, a.numbers, a.numbers, 0, 9, 1, a.results, a.errors)},
      {"id_byname", kelp2_get_id_byname(c, group, a.numbers)},
      {"object_byname", kelp2_get_object_byname(c, group, a.objects, a.errors)},
      {"value_byname", kelp2_get_value_byname(c, group, a.numbers, a.statuses, a.values, a.errors)},
      {"snap_byname", kelp2_get_snap_byname(c, group, 5, a.statuses, a.values, a.errors)},
      {"history_byname",
       kelp2_get_history_byname(c, group, a.numbers, 0, 9, 1, a.results, a.errors)},
  };
}

}  // namespace

TEST_P(Contract, CallsWithoutEntriesNeedNoArraysAndWriteNone) {
  Codes errors{99};
  int32_t error = 99;
  Arrays arrays;
  arrays.errors = errors.data();
  arrays.error = &error;
  for (const auto &[name, result] : call_all(connection_.handle(), 0, group_of({}).get(), arrays)) {
    EXPECT_EQ(result, 0) << name;
  }
  EXPECT_EQ(errors, Codes{99});
}

TEST_P(Contract, MissingHandlesAndNegativeCountsFail) {
  const Object made = connection_.new_object("N", KindNode);
  ObjectHandle object = made.get();
  ResultHandle result = reinterpret_cast<ResultHandle>(object);
  int32_t number = 1, errors = 99, error = 99;
  int16_t status = 0;
  double value = 0;
  const Arrays arrays{&number, &status, &value, &object, &result, &errors, &error};
  for (const auto &[name, code] : call_all(connection_.handle(), -1, nullptr, arrays)) {
    EXPECT_NE(code, 0) << name;
  }
  for (const auto &[name, code] : call_all(nullptr, 1, group_of({"W3.N"}).get(), arrays)) {
    EXPECT_NE(code, 0) << name;
  }
  // Callers release what they were handed out, whatever came of the call.
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(result, nullptr);
}

TEST_P(Contract, CallsOnAMissingHandleFail) {
  int32_t number = 0;
  int16_t status = 0;
  double value = 0;
  StatValue row;
  ObjectHandle *list = nullptr;
  EXPECT_NE(kelp2_status(nullptr), 0);
  EXPECT_NE(kelp2_get_system_time(nullptr, &number), 0);
  EXPECT_NE(kelp2_get_child(nullptr, "W3", &number, &list), 0);
  EXPECT_EQ(kelp2_new_object(nullptr, "N", KindNode), nullptr);
  EXPECT_EQ(kelp2_num_rows(nullptr), 0);
  EXPECT_NE(kelp2_fetch_timed_value(nullptr, &number, &status, &value), 0);
  EXPECT_LT(kelp2_fetch_stat_value(nullptr, &row), 0);
}

// Taken for a mistake in a time range.
TEST_P(Contract, ACallOfTooManyRowsIsRefusedUnread) {
  int32_t id = 1, error = 99;
  int16_t status = 0;
  double value = 0;
  EXPECT_NE(kelp2_write_snap(connection_.handle(), 0, 16'777'217, &id, 5, &status, &value, &error),
            0);
}

}  // namespace kelptest
