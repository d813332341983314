// Handles that are missing, and counts and arrays that make no sense.
#include <tuple>

#include "contract.h"

namespace kelptest {

namespace {

constexpr int32_t kInvalid = -1;

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
    EXPECT_EQ(code, kInvalid) << name;
  }
  for (const auto &[name, code] : call_all(nullptr, 1, group_of({"W3.N"}).get(), arrays)) {
    EXPECT_EQ(code, kLost) << name;
  }
  // Callers release what they were handed out, whatever came of the call.
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(result, nullptr);
}

TEST(Handles, MissingOnesFailOrGiveNothing) {
  int32_t number = 0, entry = 0;
  int16_t status = 0;
  double value = 0;
  StatValue row;
  ObjectHandle *list = nullptr;
  ObjectHandle none = nullptr;
  char text[8] = "text";
  const std::tuple<const char *, int32_t, int32_t> calls[] = {
      {"status", kelp2_status(nullptr), kLost},
      {"get_system_time", kelp2_get_system_time(nullptr, &number), kLost},
      {"get_database", kelp2_get_database(nullptr, &number, &list), kLost},
      {"get_child", kelp2_get_child(nullptr, "W3", &number, &list), kLost},
      {"modify_object", kelp2_modify_object(nullptr, Insert, "W3", 1, &none, &entry), kLost},
      {"fetch_timed_value", kelp2_fetch_timed_value(nullptr, &number, &status, &value), kInvalid},
      {"fetch_stat_value", kelp2_fetch_stat_value(nullptr, &row), kInvalid},
      {"add_group_point", kelp2_add_group_point(nullptr, "W3.N"), kInvalid},
      {"object_set_int", kelp2_object_set_int(nullptr, KELP2_FIELD_FQ, 1), kInvalid},
      {"object_set_double", kelp2_object_set_double(nullptr, KELP2_FIELD_IV, 1), kInvalid},
      {"object_set_string", kelp2_object_set_string(nullptr, KELP2_FIELD_DESCRIPTION, ""),
       kInvalid},
      {"object_get_string", kelp2_object_get_string(nullptr, KELP2_FIELD_NAME, text, 8), kInvalid},
      {"object_get_int", kelp2_object_get_int(nullptr, KELP2_FIELD_FQ), 0},
      {"num_rows", kelp2_num_rows(nullptr), 0},
      {"close", kelp2_close(nullptr), 0},
      {"free_result", kelp2_free_result(nullptr), 0},
      {"free_object", kelp2_free_object(nullptr), 0},
      {"free_group", kelp2_free_group(nullptr), 0},
      {"free_list", kelp2_free_list(3, nullptr), 0},
  };
  for (const auto &[name, result, expected] : calls) EXPECT_EQ(result, expected) << name;
  EXPECT_STREQ(text, "");
  EXPECT_EQ(entry, kLost);
  EXPECT_EQ(kelp2_object_get_double(nullptr, KELP2_FIELD_IV), 0);
  EXPECT_EQ(kelp2_new_object(nullptr, "N", KindNode), nullptr);
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
